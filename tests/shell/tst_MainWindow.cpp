#include "shell/MainWindow.h"

#include "../game/GameFixture.h"

#include "pages/CommunityPage.h"
#include "pages/HomePage.h"
#include "pages/NewsPage.h"
#include "pages/SettingsPage.h"
#include "shell/ActionBar.h"
#include "shell/NavTab.h"
#include "shell/TitleBar.h"
#include "shell/TitleBarButton.h"
#include "support/PixelTest.h"
#include "widgets/Accessible.h"
#include "widgets/ChannelSelector.h"
#include "widgets/ModalDialog.h"
#include "widgets/PrimaryButton.h"
#include "widgets/StatusBadge.h"

#include <QLabel>
#include <QLineEdit>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QScreen>
#include <QScrollArea>
#include <QSignalSpy>
#include <QStackedWidget>
#include <QTimer>
#include <QVBoxLayout>

#include <algorithm>
#include <functional>
#include <memory>

using namespace Qt::Literals::StringLiterals;
using namespace velmo;
using namespace velmo::test;

namespace {

/// A game whose engine has not started, and its window, not shown yet.
struct Fixture {
    explicit Fixture(GameStudio &studio, const QList<std::pair<QString, QVariant>> &settings = {})
        : game(studio, {.settings = settings})
    {
        game.open();
        makeWindow();
    }

    void makeWindow()
    {
        window = std::make_unique<MainWindow>(&game.settings(), &game.game(), &api);
        titleBar = window->findChild<TitleBar *>();
        stack = window->findChild<QStackedWidget *>(u"ContentArea"_s);
        actionBar = window->findChild<ActionBar *>();
        selector = titleBar->channelSelector();
    }

    void tell(GameState state, const QString &detail = {}) { emit game->stateChanged(state, detail); }
    int setting(const QString &key) { return game.settings().intValue(key, -99); }
    NavTab *tab(int page) const { return titleBar->findChildren<NavTab *>().at(page); }

    GameFixture game;
    ApiClient api;
    std::unique_ptr<MainWindow> window;
    TitleBar *titleBar = nullptr;
    QStackedWidget *stack = nullptr;
    ActionBar *actionBar = nullptr;
    ChannelSelector *selector = nullptr;
};

/// The corner of a window of the minimum size in the middle of the screen.
QPoint centred()
{
    return QGuiApplication::primaryScreen()->availableGeometry().center() - QRect(0, 0, 820, 520).center();
}

/// What a dialog showed before it was answered.
struct DialogSeen {
    QString title;
    QStringList texts;
    QString details;
    QStringList buttons;
    QWidget *parent = nullptr;
    std::function<void()> atSight = [] {}; ///< run while the dialog is up
};

/// Answers the dialog that comes up next by its button \a caption.
void answerNextDialog(DialogSeen &seen, const QString &caption)
{
    QTimer::singleShot(0, qApp, [&seen, caption] {
        auto *dialog = qobject_cast<ModalDialog *>(QApplication::activeModalWidget());
        if (!dialog) {
            answerNextDialog(seen, caption);
            return;
        }
        seen.atSight();
        seen.title = dialog->windowTitle();
        seen.parent = dialog->parentWidget();
        const QList<QLabel *> labels = dialog->findChildren<QLabel *>();
        for (const QLabel *label : labels) {
            seen.texts.append(label->text());
        }
        seen.details = dialog->findChild<QPlainTextEdit *>()->toPlainText();
        const QList<QPushButton *> buttons = dialog->findChildren<QPushButton *>();
        for (QPushButton *button : buttons) {
            if (!button->isVisible()) {
                continue;
            }
            seen.buttons.append(button->text());
            if (button->text() == caption) {
                QMetaObject::invokeMethod(button, &QPushButton::click, Qt::QueuedConnection);
            }
        }
    });
}

} // namespace

class tst_MainWindow : public PixelTest {
    Q_OBJECT

public:
    tst_MainWindow()
        : PixelTest(Still)
    {}

private slots:
    void initTestCase();
    void cleanupTestCase();

    void windowHoldsItsParts();
    void pagesStandInTheOrderOfTheTabs();
    void captionIsTheTitleBarsGround();
    void versionIsTheLaunchers();

    void tabShowsItsPage();
    void controlAndADigitShowThePage();
    void unknownPageIsIgnored_data();
    void unknownPageIsIgnored();
    void newsLoadsWhenItsPageIsFirstShown();

    void selectorFollowsTheGameAndDrivesIt();
    void selectorsAgree();
    void badgeFollowsTheServices();
    void everyStateIsReadInTheWindow();
    void windowButtonsAct();

    void titleTellsOfATransfer_data();
    void titleTellsOfATransfer();
    void errorIsLoggedAndPresented();
    void errorIsLoggedBeforeItIsPresented();

    void sizeIsRestoredAboveTheMinimum_data();
    void sizeIsRestoredAboveTheMinimum();
    void sizeThatIsNotStoredIsTheMinimum_data();
    void sizeThatIsNotStoredIsTheMinimum();
    void positionIsRestoredWhereAScreenIs_data();
    void positionIsRestoredWhereAScreenIs();
    void forgottenGeometryIsCentred();
    void maximizedWindowComesBackMaximized();
    void maximizedWindowWithoutAPlaceIsCentredBelow_data();
    void maximizedWindowWithoutAPlaceIsCentredBelow();
    void closingSavesTheGeometry();
    void geometryIsSavedInOneOrder();
    void closingSavesTheNormalGeometryOfAMaximizedWindow();
    void closingSavesNoGeometryThatIsNotWanted();

    void restingGameLetsTheWindowClose();
    void closingDuringATransferAsks_data();
    void closingDuringATransferAsks();
    void refusedCloseChangesNothing();
    void agreedCloseCancelsTheTransferBeforeItSaves();

    void trayIsRefusedWhereThereIsNone();
    void hiddenWindowReturnsWhenTheTrayIsSwitchedOff();
    void visibleWindowStaysAsItIsWhenTheTrayIsSwitchedOff();
    void otherSettingsDoNotTouchTheTray();
    void runningGameLeavesTheWindowWithoutATray();

    void keyboardGoesFromTopToBottom();

private:
    std::unique_ptr<GameStudio> studio_;
};

void tst_MainWindow::initTestCase()
{
    studio_ = std::make_unique<GameStudio>();
    installAccessibility();
    QGuiApplication::setQuitOnLastWindowClosed(false);
    PixelTest::initTestCase();
}

void tst_MainWindow::cleanupTestCase()
{
    studio_.reset();
}

void tst_MainWindow::windowHoldsItsParts()
{
    const Fixture f(*studio_);
    QCOMPARE(f.window->objectName(), u"RootSurface"_s);
    QCOMPARE(f.window->windowTitle(), u"HARROWFEN"_s);
    const auto *column = qobject_cast<QVBoxLayout *>(f.window->layout());
    QCOMPARE(column->contentsMargins(), QMargins(0, 0, 0, 0));
    QCOMPARE(column->spacing(), 0);
    QCOMPARE(column->count(), 3);
    QCOMPARE(column->itemAt(0)->widget(), f.titleBar);
    QCOMPARE(column->itemAt(1)->widget(), f.stack);
    QCOMPARE(column->itemAt(2)->widget(), f.actionBar);
    QCOMPARE(column->stretch(0), 0);
    QCOMPARE(column->stretch(1), 1);
    QCOMPARE(column->stretch(2), 0);
    QVERIFY(f.titleBar->objectName().isEmpty());
    QVERIFY(f.actionBar->objectName().isEmpty());
}

void tst_MainWindow::pagesStandInTheOrderOfTheTabs()
{
    const Fixture f(*studio_);
    QCOMPARE(f.stack->count(), 4);
    QVERIFY(qobject_cast<HomePage *>(f.stack->widget(0)));
    QVERIFY(qobject_cast<NewsPage *>(f.stack->widget(1)));
    QVERIFY(qobject_cast<CommunityPage *>(f.stack->widget(2)));
    QVERIFY(qobject_cast<SettingsPage *>(f.stack->widget(3)));
    QCOMPARE(f.stack->currentIndex(), 0);
    QVERIFY(f.tab(0)->isChecked());
}

void tst_MainWindow::captionIsTheTitleBarsGround()
{
    Fixture f(*studio_);
    f.window->resize(1000, 600);
    f.window->show();
    QVERIFY(QTest::qWaitForWindowExposed(f.window.get()));
    const auto hitAt = [&f](QPoint point) {
        return f.window->hitTest(WindowSystem::instance().windowRect(*f.window).topLeft() +
                                 (QPointF(point) * f.window->devicePixelRatio()).toPoint());
    };
    QCOMPARE(hitAt(QPoint(560, 22)), FramelessWindow::Caption);
    QCOMPARE(hitAt(f.tab(2)->geometry().center()), FramelessWindow::Client);
    QCOMPARE(hitAt(f.selector->geometry().center()), FramelessWindow::Client);
    QCOMPARE(hitAt(QPoint(500, 300)), FramelessWindow::Client);
}

void tst_MainWindow::versionIsTheLaunchers()
{
    const Fixture f(*studio_);
    QCOMPARE(f.titleBar->findChild<QLabel *>(QString(), Qt::FindDirectChildrenOnly)->text(), u"LAUNCHER 0.1.0"_s);
}

void tst_MainWindow::tabShowsItsPage()
{
    const Fixture f(*studio_);
    for (const int page : {2, 3, 1, 0}) {
        QTest::mouseClick(f.tab(page), Qt::LeftButton);
        QCOMPARE(f.stack->currentIndex(), page);
        QVERIFY(f.tab(page)->isChecked());
    }
}

void tst_MainWindow::controlAndADigitShowThePage()
{
    Fixture f(*studio_);
    f.window->show();
    QVERIFY(QTest::qWaitForWindowActive(f.window.get()));
    for (const int page : {3, 1, 2, 0, 3}) {
        QTest::keyClick(f.window.get(), static_cast<Qt::Key>(Qt::Key_1 + page), Qt::ControlModifier);
        QCOMPARE(f.stack->currentIndex(), page);
        QVERIFY(f.tab(page)->isChecked());
    }
    auto *folder = f.stack->widget(3)->findChild<QLineEdit *>(); // where a digit alone is text
    folder->setFocus();
    QTest::keyClick(folder, Qt::Key_1, Qt::ControlModifier);
    QCOMPARE(f.stack->currentIndex(), 0);
}

void tst_MainWindow::unknownPageIsIgnored_data()
{
    QTest::addColumn<int>("page");
    QTest::newRow("beyond the last") << 4;
    QTest::newRow("below the first") << -1;
}

void tst_MainWindow::unknownPageIsIgnored()
{
    QFETCH(const int, page);
    const Fixture f(*studio_);
    QTest::mouseClick(f.tab(2), Qt::LeftButton);
    emit f.titleBar->pageRequested(static_cast<NavPage>(page));
    QCOMPARE(f.stack->currentIndex(), 2);
    QVERIFY(f.tab(2)->isChecked());
    // The title bar still knows which page is shown: its tab asks for nothing.
    const QSignalSpy asked(f.titleBar, &TitleBar::pageRequested);
    QTest::mouseClick(f.tab(2), Qt::LeftButton);
    QCOMPARE(asked.size(), 0);
    QCOMPARE(f.stack->currentIndex(), 2);
}

void tst_MainWindow::newsLoadsWhenItsPageIsFirstShown()
{
    Fixture f(*studio_);
    const auto loads = [&f] {
        const QStringList lines = f.game.log().texts(u"velmo.net"_s);
        return lines.filter(u"news"_s).filter(u"GET"_s).size();
    };
    QCOMPARE(loads(), 0);
    QTest::mouseClick(f.tab(1), Qt::LeftButton);
    QCOMPARE(loads(), 1);
    QTest::mouseClick(f.tab(0), Qt::LeftButton);
    QTest::mouseClick(f.tab(1), Qt::LeftButton);
    QCOMPARE(loads(), 1);
}

void tst_MainWindow::selectorFollowsTheGameAndDrivesIt()
{
    Fixture f(*studio_, {{u"game.channel"_s, u"beta"_s}});
    QCOMPARE(f.game->currentChannelId(), u"beta"_s);
    QCOMPARE(f.selector->shownName(), u"BETA"_s);
    emit f.selector->channelSelected(u"release"_s);
    QCOMPARE(f.game->currentChannelId(), u"release"_s);
    QCOMPARE(f.selector->shownName(), u"RELEASE"_s);
}

void tst_MainWindow::selectorsAgree()
{
    Fixture f(*studio_);
    const QList<ChannelSelector *> selectors = f.window->findChildren<ChannelSelector *>();
    QCOMPARE(selectors.size(), 2);
    for (ChannelSelector *chosen : selectors) {
        const QString id = chosen == f.selector ? u"beta"_s : u"release"_s;
        emit chosen->channelSelected(id);
        for (const ChannelSelector *selector : selectors) {
            QCOMPARE(selector->shownName(), id.toUpper());
        }
    }
}

void tst_MainWindow::badgeFollowsTheServices()
{
    Fixture f(*studio_);
    const auto *badge = f.actionBar->findChild<StatusBadge *>();
    QCOMPARE(badge->accessibleName(), u"CONNECTING"_s);
    QCOMPARE(badge->toolTip(), u"CONNECTING"_s); // told so, not merely made so
    emit f.game->serviceStatusChanged(ServiceStatus::Offline, u"No route"_s);
    QCOMPARE(badge->accessibleName(), u"OFFLINE"_s);
    QCOMPARE(badge->toolTip(), u"No route"_s);
}

void tst_MainWindow::everyStateIsReadInTheWindow()
{
    Fixture f(*studio_);
    f.window->show();
    constexpr int last = int(GameState::Error);
    for (int state = int(GameState::CheckingInstallation); state <= last; ++state) {
        const QString detail = u"told of state %1"_s.arg(state);
        f.tell(GameState(state), detail);
        const QList<QLabel *> labels = f.window->findChildren<QLabel *>();
        QVERIFY2(std::any_of(labels.begin(), labels.end(),
                             [&](const QLabel *label) { return label->isVisible() && label->text() == detail; }),
                 qPrintable(detail));
    }
}

void tst_MainWindow::windowButtonsAct()
{
    Fixture f(*studio_);
    f.window->show();
    QVERIFY(QTest::qWaitForWindowExposed(f.window.get()));
    const QList<TitleBarButton *> buttons = f.titleBar->findChildren<TitleBarButton *>();
    QTest::mouseClick(buttons.at(1), Qt::LeftButton);
    QTRY_VERIFY(f.window->isMaximized());
    QTRY_COMPARE(buttons.at(1)->toolTip(), u"Restore"_s);
    QTest::mouseClick(buttons.at(1), Qt::LeftButton);
    QTRY_VERIFY(!f.window->isMaximized());
    QTRY_COMPARE(buttons.at(1)->toolTip(), u"Maximise"_s);
    QTest::mouseClick(buttons.at(0), Qt::LeftButton);
    QTRY_VERIFY(f.window->isMinimized());
    QVERIFY(!f.window->isHidden()); // without a tray it only goes to the task bar
    f.window->showNormal();
    QTest::mouseClick(buttons.at(2), Qt::LeftButton);
    QTRY_VERIFY(f.window->isHidden());
}

void tst_MainWindow::titleTellsOfATransfer_data()
{
    QTest::addColumn<GameState>("state");
    QTest::addColumn<bool>("told");
    QTest::newRow("checking") << GameState::CheckingInstallation << false;
    QTest::newRow("not installed") << GameState::NotInstalled << false;
    QTest::newRow("installed") << GameState::Installed << false;
    QTest::newRow("update available") << GameState::UpdateAvailable << false;
    QTest::newRow("downloading") << GameState::Downloading << true;
    QTest::newRow("installing") << GameState::Installing << true;
    QTest::newRow("verifying") << GameState::Verifying << true;
    QTest::newRow("repairing") << GameState::Repairing << true;
    QTest::newRow("launching") << GameState::Launching << false;
    QTest::newRow("running") << GameState::Running << false;
    QTest::newRow("error") << GameState::Error << false;
}

void tst_MainWindow::titleTellsOfATransfer()
{
    QFETCH(const GameState, state);
    QFETCH(const bool, told);
    Fixture f(*studio_);
    f.tell(told ? GameState::Installed : GameState::Downloading, u"before"_s);
    f.tell(state, u"40 % of %1"_s);
    QCOMPARE(f.window->windowTitle(), told ? u"HARROWFEN - 40 % of %1"_s : u"HARROWFEN"_s);
}

void tst_MainWindow::errorIsLoggedAndPresented()
{
    Fixture f(*studio_);
    f.window->show();
    f.game.log().clear();
    DialogSeen seen;
    answerNextDialog(seen, u"Close"_s);
    emit f.game->errorOccurred(u"It broke."_s, u"E42"_s);
    QCOMPARE(seen.title, u"Something went wrong"_s);
    QVERIFY(seen.texts.contains(u"It broke."_s));
    QCOMPARE(seen.details, u"E42"_s);
    QCOMPARE(seen.parent, f.window.get());
    QVERIFY(f.game.log().contains(QtWarningMsg, u"velmo.ui"_s, u"Presenting error to the user: \"It broke.\""_s));
}

void tst_MainWindow::errorIsLoggedBeforeItIsPresented()
{
    Fixture f(*studio_);
    f.window->show();
    f.game.log().clear();
    bool logged = false;
    DialogSeen seen;
    seen.atSight = [&] {
        logged = f.game.log().contains(QtWarningMsg, u"velmo.ui"_s, u"Presenting error to the user: \"It broke.\""_s);
    };
    answerNextDialog(seen, u"Close"_s);
    emit f.game->errorOccurred(u"It broke."_s, QString());
    QVERIFY(logged);
}

void tst_MainWindow::sizeIsRestoredAboveTheMinimum_data()
{
    QTest::addColumn<QSize>("stored");
    QTest::addColumn<QSize>("restored");
    QTest::newRow("larger") << QSize(1000, 640) << QSize(1000, 640);
    QTest::newRow("too small") << QSize(100, 100) << QSize(820, 520);
    QTest::newRow("too narrow") << QSize(300, 700) << QSize(820, 700);
    QTest::newRow("too low") << QSize(900, 1) << QSize(900, 520);
    QTest::newRow("nonsense") << QSize(-5, 0) << QSize(820, 520);
}

void tst_MainWindow::sizeIsRestoredAboveTheMinimum()
{
    QFETCH(const QSize, stored);
    QFETCH(const QSize, restored);
    const Fixture f(*studio_, {{u"window.width"_s, stored.width()}, {u"window.height"_s, stored.height()}});
    QCOMPARE(f.window->size(), restored);
}

void tst_MainWindow::sizeThatIsNotStoredIsTheMinimum_data()
{
    QTest::addColumn<QList<std::pair<QString, QVariant>>>("settings");
    const QVariant null = QVariant::fromValue(nullptr);
    QTest::newRow("nulls") << QList<std::pair<QString, QVariant>>{{u"window.width"_s, null},
                                                                  {u"window.height"_s, null}};
    QTest::newRow("no group") << QList<std::pair<QString, QVariant>>{{u"window"_s, 5}};
}

void tst_MainWindow::sizeThatIsNotStoredIsTheMinimum()
{
    using Settings = QList<std::pair<QString, QVariant>>;
    QFETCH(const Settings, settings);
    Fixture f(*studio_, settings);
    QVERIFY(!f.game.settings().value(u"window.width"_s, {}).isValid());
    QCOMPARE(f.window->size(), QSize(820, 520));
    QCOMPARE(f.window->pos(), centred());
    QVERIFY(f.window->isHidden());
}

void tst_MainWindow::positionIsRestoredWhereAScreenIs_data()
{
    const QRect area = QGuiApplication::primaryScreen()->availableGeometry();
    // A stored size below the minimum: the place is judged by what was stored.
    const QSize small(100, 100);
    QTest::addColumn<QPoint>("stored");
    QTest::addColumn<QSize>("size");
    QTest::addColumn<bool>("kept");
    QTest::newRow("on the screen") << QPoint(40, 30) << small << true;
    QTest::newRow("at its corner") << QPoint(0, 0) << small << true;
    QTest::newRow("partly on it") << QPoint(area.right() - 10, area.bottom() - 10) << small << true;
    QTest::newRow("on its last pixel") << area.bottomRight() << small << true;
    QTest::newRow("off it") << QPoint(area.right() + 1, 10) << small << false;
    QTest::newRow("below it") << QPoint(10, area.bottom() + 1) << small << false;
    QTest::newRow("without a size") << QPoint(40, 30) << QSize(0, 0) << false;
    QTest::newRow("never saved") << QPoint(-1, -1) << small << false;
    QTest::newRow("left of the primary screen") << QPoint(-40, 30) << small << false;
    QTest::newRow("above the primary screen") << QPoint(40, -30) << small << false;
}

void tst_MainWindow::positionIsRestoredWhereAScreenIs()
{
    QFETCH(const QPoint, stored);
    QFETCH(const QSize, size);
    QFETCH(const bool, kept);
    const Fixture f(*studio_, {{u"window.width"_s, size.width()},
                               {u"window.height"_s, size.height()},
                               {u"window.x"_s, stored.x()},
                               {u"window.y"_s, stored.y()}});
    QCOMPARE(f.window->pos(), kept ? stored : centred());
}

void tst_MainWindow::forgottenGeometryIsCentred()
{
    const Fixture f(*studio_, {{u"launcher.rememberWindowGeometry"_s, false},
                               {u"window.x"_s, 5},
                               {u"window.y"_s, 5},
                               {u"window.maximized"_s, true}});
    QCOMPARE(f.window->pos(),
             QGuiApplication::primaryScreen()->availableGeometry().center() - f.window->rect().center());
    QVERIFY(!f.window->isMaximized());
    QVERIFY(f.window->isHidden());
}

void tst_MainWindow::maximizedWindowComesBackMaximized()
{
    const Fixture f(*studio_, {{u"window.x"_s, 5}, {u"window.y"_s, 5}, {u"window.maximized"_s, true}});
    QVERIFY(f.window->isMaximized());
    QVERIFY(f.window->isVisible()); // whoever made it need not show it
}

void tst_MainWindow::maximizedWindowWithoutAPlaceIsCentredBelow_data()
{
    QTest::addColumn<QPoint>("stored");
    QTest::newRow("never saved") << QPoint(-1, -1);
    QTest::newRow("left of the primary screen") << QPoint(-40, 30);
    QTest::newRow("above the primary screen") << QPoint(40, -30);
    QTest::newRow("off the screen") << QPoint(100'000, 30);
}

/// The place matters once the window is no longer maximised.
void tst_MainWindow::maximizedWindowWithoutAPlaceIsCentredBelow()
{
    QFETCH(const QPoint, stored);
    const Fixture f(*studio_, {{u"window.width"_s, 820},
                               {u"window.height"_s, 520},
                               {u"window.x"_s, stored.x()},
                               {u"window.y"_s, stored.y()},
                               {u"window.maximized"_s, true}});
    QVERIFY(f.window->isMaximized());
    QVERIFY(f.window->isVisible());
    QCOMPARE(f.window->normalGeometry(), QRect(centred(), QSize(820, 520)));
}

void tst_MainWindow::closingSavesTheGeometry()
{
    Fixture f(*studio_);
    f.window->show();
    f.window->setGeometry(33, 44, 900, 600);
    QCoreApplication::processEvents();
    f.game.clearTrace();
    QVERIFY(f.window->close());
    QCOMPARE(f.setting(u"window.x"_s), 33);
    QCOMPARE(f.setting(u"window.y"_s), 44);
    QCOMPARE(f.setting(u"window.width"_s), 900);
    QCOMPARE(f.setting(u"window.height"_s), 600);
    QVERIFY(!f.game.settings().boolValue(u"window.maximized"_s, true));
    // On the disk already.
    ConfigManager reread;
    reread.load();
    QCOMPARE(reread.intValue(u"window.x"_s, -99), 33);
}

void tst_MainWindow::geometryIsSavedInOneOrder()
{
    Fixture f(*studio_);
    f.window->setGeometry(33, 44, 900, 600);
    f.window->show();
    f.window->showMaximized();
    QTRY_VERIFY(f.window->isMaximized());
    QStringList keys;
    connect(&f.game.settings(), &ConfigManager::changed, f.window.get(), [&keys](const QString &key) { keys += key; });
    QVERIFY(f.window->close());
    QCOMPARE(keys,
             QStringList({u"window.maximized"_s, u"window.width"_s, u"window.height"_s, u"window.x"_s, u"window.y"_s}));
}

void tst_MainWindow::closingSavesTheNormalGeometryOfAMaximizedWindow()
{
    Fixture f(*studio_);
    f.window->setGeometry(33, 44, 900, 600);
    f.window->show();
    QCoreApplication::processEvents();
    f.window->showMaximized();
    QTRY_VERIFY(f.window->isMaximized());
    QVERIFY(f.window->close());
    QVERIFY(f.game.settings().boolValue(u"window.maximized"_s, false));
    QCOMPARE(f.setting(u"window.width"_s), 900);
    QCOMPARE(f.setting(u"window.height"_s), 600);
    QCOMPARE(f.setting(u"window.x"_s), 33);
    QCOMPARE(f.setting(u"window.y"_s), 44);
}

void tst_MainWindow::closingSavesNoGeometryThatIsNotWanted()
{
    Fixture f(*studio_, {{u"launcher.rememberWindowGeometry"_s, false}, {u"window.x"_s, 7}});
    f.window->show();
    f.window->setGeometry(33, 44, 900, 600);
    QVERIFY(f.window->close());
    QCOMPARE(f.setting(u"window.x"_s), 7);
}

void tst_MainWindow::restingGameLetsTheWindowClose()
{
    Fixture f(*studio_);
    f.window->show();
    f.game.log().clear();
    QVERIFY(f.window->close());
    QCOMPARE(f.game.log().texts(u"velmo.app"_s), QStringList{u"INFO velmo.app: Launcher closing"_s});
}

void tst_MainWindow::closingDuringATransferAsks_data()
{
    QTest::addColumn<GameState>("state");
    QTest::newRow("downloading") << GameState::Downloading;
    QTest::newRow("installing") << GameState::Installing;
    QTest::newRow("verifying") << GameState::Verifying;
    QTest::newRow("repairing") << GameState::Repairing;
}

void tst_MainWindow::closingDuringATransferAsks()
{
    QFETCH(const GameState, state);
    Fixture f(*studio_);
    f.window->show();
    const Build build{
        u"1.0.0"_s, 1, {gameProgramFile(), {u"data"_s, QByteArray(300'000, 'd'), false, {}}}, u"bin/game"_s, {}};
    studio_->publish(build);
    const bool isCheck = state == GameState::Verifying || state == GameState::Repairing;
    if (isCheck) {
        f.game.install(build);
    }
    if (state == GameState::Repairing) {
        f.game.writeFile(u"data"_s, "damaged");
    }
    QVERIFY(f.game.startAndCheck());
    DialogSeen seen;
    f.game.at(state, [&] {
        answerNextDialog(seen, u"Cancel"_s);
        QVERIFY(!f.window->close());
    });
    if (isCheck) {
        f.game->verifyFiles();
    } else {
        f.game->primaryAction();
    }
    QVERIFY(f.game.waitUntilPast(state));
    QVERIFY(f.game.waitForState(GameState::Installed));
    QCOMPARE(seen.title, u"Close the launcher"_s);
    QCOMPARE(seen.parent, f.window.get());
    QVERIFY(seen.texts.contains(u"A download is still in progress.\n\nClosing now keeps everything downloaded so far "
                                "and resumes where it left off the next time you open the launcher."_s));
    QVERIFY(seen.buttons.contains(u"Close anyway"_s));
}

void tst_MainWindow::refusedCloseChangesNothing()
{
    Fixture f(*studio_);
    f.window->show();
    studio_->publish({u"1.0.0"_s, 1, {gameProgramFile()}, u"bin/game"_s, {}});
    QVERIFY(f.game.startAndCheck());
    DialogSeen seen;
    f.game.at(GameState::Downloading, [&] {
        f.game.log().clear();
        answerNextDialog(seen, u"Cancel"_s);
        QVERIFY(!f.window->close());
        QVERIFY(f.window->isVisible());
        QVERIFY(f.game.log().texts(u"velmo.app"_s).isEmpty());
    });
    f.game->primaryAction();
    QVERIFY(f.game.waitForState(GameState::Installed)); // the job went on to its end
}

void tst_MainWindow::agreedCloseCancelsTheTransferBeforeItSaves()
{
    Fixture f(*studio_);
    f.window->show();
    studio_->publish(
        {u"1.0.0"_s, 1, {gameProgramFile(), {u"data"_s, QByteArray(300'000, 'd'), false, {}}}, u"bin/game"_s, {}});
    QVERIFY(f.game.startAndCheck());
    studio_->server().setBytesPerSecond(50'000); // or the job could be over before the answer
    DialogSeen seen;
    bool closed = false;
    QList<GameState> statesAtSave;
    connect(&f.game.settings(), &ConfigManager::changed, f.window.get(), [&] { statesAtSave.append(f.game->state()); });
    f.game.at(GameState::Downloading, [&] {
        // After the job has really begun.
        QTimer::singleShot(0, &f.game.game(), [&] {
            answerNextDialog(seen, u"Close anyway"_s);
            closed = f.window->close();
        });
    });
    f.game->primaryAction();
    QTRY_VERIFY(closed);
    QCOMPARE(f.game->state(), GameState::NotInstalled);
    QVERIFY(f.window->isHidden());
    QVERIFY(f.game.log().contains(QtInfoMsg, u"velmo.app"_s, u"Launcher closing"_s));
    QVERIFY(f.game.record().isNull());
    QVERIFY(!statesAtSave.isEmpty());
    QCOMPARE(statesAtSave.count(GameState::NotInstalled), statesAtSave.size());
}

void tst_MainWindow::trayIsRefusedWhereThereIsNone()
{
    QGuiApplication::setQuitOnLastWindowClosed(true);
    Fixture f(*studio_, {{u"launcher.minimizeToTray"_s, true}});
    const bool ends = QGuiApplication::quitOnLastWindowClosed();
    QGuiApplication::setQuitOnLastWindowClosed(false);
    QVERIFY(ends); // or closing the window would leave a program without one
    QVERIFY(
        f.game.log().contains(QtWarningMsg, u"velmo.ui"_s, u"Tray requested but this desktop has no system tray"_s));
    f.window->show();
    f.window->showMinimized();
    QCoreApplication::processEvents();
    QVERIFY(!f.window->isHidden());
}

void tst_MainWindow::hiddenWindowReturnsWhenTheTrayIsSwitchedOff()
{
    Fixture f(*studio_, {{u"launcher.minimizeToTray"_s, true}});
    QVERIFY(f.window->isHidden());
    f.game.settings().setValue(u"launcher.minimizeToTray"_s, false);
    QVERIFY(f.window->isVisible());
    QVERIFY(QGuiApplication::quitOnLastWindowClosed());
    QGuiApplication::setQuitOnLastWindowClosed(false);
}

void tst_MainWindow::visibleWindowStaysAsItIsWhenTheTrayIsSwitchedOff()
{
    Fixture f(*studio_, {{u"launcher.minimizeToTray"_s, true}});
    f.window->show();
    f.window->showMaximized();
    QTRY_VERIFY(f.window->isMaximized());
    f.game.settings().setValue(u"launcher.minimizeToTray"_s, false);
    QGuiApplication::setQuitOnLastWindowClosed(false);
    QCoreApplication::processEvents();
    QVERIFY(f.window->isMaximized());
}

void tst_MainWindow::otherSettingsDoNotTouchTheTray()
{
    Fixture f(*studio_);
    f.game.settings().setValue(u"launcher.minimizeToTrayAlways"_s, true);
    f.game.settings().setValue(u"launcher.autoCheckUpdates"_s, false);
    QVERIFY(f.window->isHidden());
}

void tst_MainWindow::runningGameLeavesTheWindowWithoutATray()
{
    Fixture f(*studio_);
    f.window->show();
    f.tell(GameState::Running);
    QVERIFY(f.window->isVisible());
}

void tst_MainWindow::keyboardGoesFromTopToBottom()
{
    Fixture f(*studio_);
    f.tell(GameState::Installed);
    f.window->show();
    QVERIFY(QTest::qWaitForWindowActive(f.window.get()));
    QTest::mouseClick(f.tab(3), Qt::LeftButton);
    QList<QWidget *> order;
    auto *primary = f.actionBar->findChild<PrimaryButton *>();
    primary->setFocus();
    do {
        QTest::keyClick(QApplication::focusWidget(), Qt::Key_Tab);
        if (!QApplication::focusWidget()->inherits("QScrollArea")) {
            order.append(QApplication::focusWidget());
        }
    } while (QApplication::focusWidget() != primary && order.size() < 50);
    // The settings in their column, from top to bottom and from left to right, then the action bar.
    const QWidget *column = f.stack->widget(3)->findChild<QScrollArea *>()->widget();
    QVERIFY(order.size() > 7);
    QPoint last(0, 0);
    for (const QWidget *widget : std::as_const(order)) {
        if (widget == primary) {
            break;
        }
        const QPoint at = widget->mapTo(column, widget->rect().center());
        const bool sameLine = std::abs(at.y() - last.y()) < 10;
        QVERIFY2(sameLine ? at.x() > last.x() : at.y() > last.y(), widget->metaObject()->className());
        last = at;
    }
}

int main(int argc, char **argv)
{
    return runPixelTest<tst_MainWindow>(argc, argv);
}

#include "tst_MainWindow.moc"
