#include "shell/ActionBar.h"

#include "../game/GameFixture.h"

#include "core/Format.h"
#include "game/DownloadManager.h"
#include "support/PixelTest.h"
#include "theme/Fonts.h"
#include "widgets/Accessible.h"
#include "widgets/PrimaryButton.h"
#include "widgets/ProgressTrack.h"
#include "widgets/StatusBadge.h"

#include <QAccessible>
#include <QHBoxLayout>
#include <QLabel>
#include <QPushButton>
#include <QSignalSpy>

#include <memory>

using namespace Qt::Literals::StringLiterals;
using namespace velmo;
using namespace velmo::test;

namespace {

constexpr int wide = 1400;
constexpr int narrow = 820; // as the window's smallest size

/// A game with an engine that has not started, and the bar that shows it.
struct Fixture {
    explicit Fixture(GameStudio &studio)
        : game(studio)
    {
        game.open();
        makeBar();
    }

    void makeBar()
    {
        bar = std::make_unique<ActionBar>(&game.game());
        bar->resize(wide, 72);
        bar->ensurePolished();
        row = qobject_cast<QHBoxLayout *>(bar->layout());
        const QList<QLabel *> labels = bar->findChildren<QLabel *>(QString(), Qt::FindDirectChildrenOnly);
        Q_ASSERT(labels.size() == 2);
        status = labels.at(0);
        meta = labels.at(1);
        badge = bar->findChild<StatusBadge *>();
        track = bar->findChild<ProgressTrack *>();
        cancel = bar->findChild<QPushButton *>();
        primary = bar->findChild<PrimaryButton *>();
    }

    void tell(GameState state, const QString &detail = {}) { emit game->stateChanged(state, detail); }

    GameFixture game;
    std::unique_ptr<ActionBar> bar;
    QHBoxLayout *row = nullptr;
    QLabel *status = nullptr;
    QLabel *meta = nullptr;
    StatusBadge *badge = nullptr;
    ProgressTrack *track = nullptr;
    QPushButton *cancel = nullptr;
    PrimaryButton *primary = nullptr;
};

/// A bar beside another button, which takes a focus that a button of the bar loses.
struct BesideAnother : Fixture {
    explicit BesideAnother(GameStudio &studio)
        : Fixture(studio)
    {
        bar->setParent(&window);
    }
    ~BesideAnother() { bar->setParent(nullptr); }
    bool activate()
    {
        window.show();
        return QTest::qWaitForWindowActive(&window);
    }

    QWidget window;
    QPushButton other{&window};
};

Build build(int number, qsizetype bytes)
{
    return {u"1.%1.0"_s.arg(number),
            number,
            {gameProgramFile(), {u"data"_s, QByteArray(bytes, 'd'), false, {}}},
            u"bin/game"_s,
            {}};
}

DownloadProgress progressOf(qint64 received, qint64 total, double rate, qint64 eta)
{
    DownloadProgress progress;
    progress.bytesReceived = received;
    progress.bytesTotal = total;
    progress.bytesPerSecond = rate;
    progress.etaSeconds = eta;
    return progress;
}

} // namespace

class tst_ActionBar : public PixelTest {
    Q_OBJECT

public:
    tst_ActionBar()
        : PixelTest(Still)
    {}

private slots:
    void initTestCase();
    void cleanupTestCase();

    void barIsAFixedBandOnThePanelColour();
    void itemsStandInOrderWithTheirGaps_data();
    void itemsStandInOrderWithTheirGaps();
    void longTextsGiveWayInANarrowBar_data();
    void longTextsGiveWayInANarrowBar();
    void textsHaveTheirFontsAndColours();
    void cancelIsASecondaryButton();
    void firstPictureIsTheGamesPresentState();
    void serviceStatusGoesToTheBadge();

    void everyStateHasItsLook_data();
    void everyStateHasItsLook();
    void emptyDetailShowsTheStatesOwnLabel();
    void metaLineIsLeftAloneInTransfers();

    void metaLineNamesBranchBuildAndDownload();
    void metaLineNamesEvenOneByte();
    void metaLineNamesTheBranchOfTheMoment();
    void progressFillsTrackAndLine_data();
    void progressFillsTrackAndLine();
    void progressWithoutATotalIsIgnored();
    void verificationFillsTrackAndLine_data();
    void verificationFillsTrackAndLine();
    void branchChangeRewritesTheLineEvenInATransfer();

    void installShowsCancelUntilItInstalls();
    void repairShowsCancel();
    void cancelButtonCancels();
    void primaryButtonActs();

    void controlsAreNamedForScreenReaders();
    void keyboardGoesFromLeftToRight();
    void focusStaysInTheBarThroughAJob();
    void focusNeverLeavesTheBarDuringAJob();
    void focusElsewhereStaysWhereItIs();
    void focusThatLeftDuringAJobStaysAway();
    void nothingIsPaintedAtRest();

private:
    std::unique_ptr<GameStudio> studio_;
};

void tst_ActionBar::initTestCase()
{
    studio_ = std::make_unique<GameStudio>();
    installAccessibility();
    PixelTest::initTestCase();
}

void tst_ActionBar::cleanupTestCase()
{
    studio_.reset();
}

void tst_ActionBar::barIsAFixedBandOnThePanelColour()
{
    const Fixture f(*studio_);
    QCOMPARE(f.bar->minimumHeight(), 72);
    QCOMPARE(f.bar->maximumHeight(), 72);
    QVERIFY(!f.bar->testAttribute(Qt::WA_StyledBackground));
    const QColor panel(0x12, 0x17, 0x1f);
    const QImage image = snapshot(*f.bar);
    QCOMPARE(colorAt(image, QPointF(0.5, 0.5)), panel);
    QCOMPARE(colorAt(image, QPointF(wide - 0.5, 71.5)), panel);
    QCOMPARE(colorAt(image, QPointF(700, 36)), panel);
}

void tst_ActionBar::itemsStandInOrderWithTheirGaps_data()
{
    QTest::addColumn<int>("width");
    QTest::newRow("as wide as usual") << wide;
    QTest::newRow("as narrow as the window gets") << narrow;
    QTest::newRow("as wide as a large screen") << 3840;
}

void tst_ActionBar::itemsStandInOrderWithTheirGaps()
{
    QFETCH(const int, width);
    Fixture f(*studio_);
    f.bar->resize(width, 72);
    QCOMPARE(f.row->contentsMargins(), QMargins(26, 0, 26, 0));
    QCOMPARE(f.row->spacing(), 18);
    f.cancel->show();
    f.track->show();
    f.row->activate();
    QCOMPARE(f.badge->x(), 26);
    const int texts = f.badge->x() + f.badge->width() + 18;
    QCOMPARE(f.status->x(), texts);
    QCOMPARE(f.meta->x(), texts);
    QCOMPARE(f.track->x(), texts);
    QCOMPARE(f.track->height(), 3);
    QVERIFY(f.meta->y() >= f.status->y() + f.status->height() + 3);
    QVERIFY(f.track->y() >= f.meta->y() + f.meta->height() + 3);
    QCOMPARE(f.primary->x() + f.primary->width(), width - 26);
    QCOMPARE(f.cancel->x() + f.cancel->width(), f.primary->x() - 18);
    QCOMPARE(f.track->x() + f.track->width(), f.cancel->x() - 18); // the texts take what is left
    for (const QWidget *item :
         {static_cast<QWidget *>(f.badge), static_cast<QWidget *>(f.cancel), static_cast<QWidget *>(f.primary)}) {
        QVERIFY(std::abs(2 * item->y() + item->height() - 72) <= 1);
    }
    const auto *column = qobject_cast<QVBoxLayout *>(f.row->itemAt(1)->layout());
    QCOMPARE(column->contentsMargins(), QMargins(0, 0, 0, 0));
    QCOMPARE(column->spacing(), 3);
    QCOMPARE(f.row->stretch(1), 1);
    QCOMPARE(f.row->stretch(0) + f.row->stretch(2) + f.row->stretch(3), 0);
}

void tst_ActionBar::longTextsGiveWayInANarrowBar_data()
{
    QTest::addColumn<ServiceStatus>("service");
    QTest::newRow("connecting") << ServiceStatus::Connecting;
    QTest::newRow("online") << ServiceStatus::Online;
    QTest::newRow("offline") << ServiceStatus::Offline;
    QTest::newRow("maintenance") << ServiceStatus::Maintenance;
    QTest::newRow("degraded") << ServiceStatus::Degraded;
}

void tst_ActionBar::longTextsGiveWayInANarrowBar()
{
    QFETCH(const ServiceStatus, service);
    const QString status = u"Downloading Harrowfen/Content/Paks/pakchunk0-Windows.ucas, file 112 of 24310"_s;
    const QString file = u"Harrowfen/Content/Paks/Some/Deep/Folder/With/A/Long/Path/pakchunk0-optional-0001.ucas"_s;
    Fixture f(*studio_);
    f.bar->setServiceStatus(service, QString());
    f.tell(GameState::Downloading, status);
    emit f.game->verificationProgressChanged(0.5, file);
    f.cancel->show();
    f.bar->resize(narrow, 72);
    f.row->activate();
    QCOMPARE(f.badge->geometry().left(), 26);
    QCOMPARE(f.badge->width(), f.badge->sizeHint().width());
    QCOMPARE(f.meta->x(), f.badge->x() + f.badge->width() + 18);
    QCOMPARE(f.cancel->width(), f.cancel->sizeHint().width());
    QCOMPARE(f.meta->x() + f.meta->width(), f.cancel->x() - 18);
    QCOMPARE(f.primary->width(), f.primary->sizeHint().width());
    QCOMPARE(f.primary->x() + f.primary->width(), narrow - 26);
    // Cut to the eye, whole to whoever asks.
    QCOMPARE(f.status->text(), status);
    QCOMPARE(f.meta->text(), file);
    QVERIFY(drawnText(*f.status).endsWith(u'\u2026'));
    QVERIFY(drawnText(*f.meta).endsWith(u'\u2026'));
}

void tst_ActionBar::textsHaveTheirFontsAndColours()
{
    const Fixture f(*studio_);
    QCOMPARE(f.status->font(), theme::displayFont(13, 600, 1.2));
    QCOMPARE(f.status->styleSheet(), u"color: #e8ebf0;"_s);
    QCOMPARE(f.meta->font(), theme::monoFont(10, 400, 0.5));
    QCOMPARE(f.meta->styleSheet(), u"color: #677181;"_s);
    // A file's name is text, whatever it looks like.
    QCOMPARE(f.status->textFormat(), Qt::PlainText);
    QCOMPARE(f.meta->textFormat(), Qt::PlainText);
}

void tst_ActionBar::cancelIsASecondaryButton()
{
    const Fixture f(*studio_);
    QCOMPARE(f.cancel->text(), u"Cancel"_s);
    QCOMPARE(f.cancel->property("role").toString(), u"secondary"_s);
    QCOMPARE(f.cancel->cursor().shape(), Qt::PointingHandCursor);
    QVERIFY(f.cancel->isHidden());
    QVERIFY(f.track->isHidden());
}

void tst_ActionBar::firstPictureIsTheGamesPresentState()
{
    Fixture f(*studio_);
    QCOMPARE(f.primary->text(), u"CHECKING"_s);
    QCOMPARE(f.status->text(), GameManager::stateLabel(GameState::CheckingInstallation));
    studio_->publish(build(1, 1000));
    QVERIFY(f.game.startAndCheck());
    f.makeBar();
    QCOMPARE(f.primary->text(), u"INSTALL"_s);
    QCOMPARE(f.status->text(), f.game->detail());
    QVERIFY(!f.game->detail().isEmpty());
}

void tst_ActionBar::serviceStatusGoesToTheBadge()
{
    const Fixture f(*studio_);
    f.bar->setServiceStatus(ServiceStatus::Degraded, u"One server is slow"_s);
    QCOMPARE(f.badge->accessibleName(), u"DEGRADED"_s);
    QCOMPARE(f.badge->toolTip(), u"One server is slow"_s);
}

void tst_ActionBar::everyStateHasItsLook_data()
{
    QTest::addColumn<GameState>("state");
    QTest::addColumn<QString>("label");
    QTest::addColumn<bool>("enabled");
    QTest::addColumn<bool>("transfer");
    QTest::newRow("checking") << GameState::CheckingInstallation << u"CHECKING"_s << false << false;
    QTest::newRow("not installed") << GameState::NotInstalled << u"INSTALL"_s << true << false;
    QTest::newRow("installed") << GameState::Installed << u"PLAY"_s << true << false;
    QTest::newRow("update available") << GameState::UpdateAvailable << u"UPDATE"_s << true << false;
    QTest::newRow("downloading") << GameState::Downloading << u"DOWNLOADING"_s << false << true;
    QTest::newRow("installing") << GameState::Installing << u"INSTALLING"_s << false << true;
    QTest::newRow("verifying") << GameState::Verifying << u"VERIFYING"_s << false << true;
    QTest::newRow("repairing") << GameState::Repairing << u"REPAIRING"_s << false << true;
    QTest::newRow("launching") << GameState::Launching << u"LAUNCHING"_s << false << false;
    QTest::newRow("running") << GameState::Running << u"RUNNING"_s << false << false;
    QTest::newRow("error") << GameState::Error << u"RETRY"_s << true << false;
    QTest::newRow("any other") << static_cast<GameState>(99) << u"PLAY"_s << false << false;
}

void tst_ActionBar::everyStateHasItsLook()
{
    QFETCH(const GameState, state);
    QFETCH(const QString, label);
    QFETCH(const bool, enabled);
    QFETCH(const bool, transfer);
    Fixture f(*studio_);
    // From a state that looks otherwise, whichever it is.
    f.tell(transfer ? GameState::Installed : GameState::Installing, u"before"_s);
    f.tell(state, u"A detail"_s);
    QCOMPARE(f.primary->text(), label);
    QCOMPARE(f.primary->isEnabled(), enabled);
    QCOMPARE(f.primary->isBusy(), transfer);
    QCOMPARE(!f.track->isHidden(), transfer);
    QCOMPARE(f.track->isIndeterminate(), state == GameState::Installing);
    QCOMPARE(f.status->text(), u"A detail"_s);
    QVERIFY(f.cancel->isHidden()); // the game itself is not doing anything that could be cancelled
}

void tst_ActionBar::emptyDetailShowsTheStatesOwnLabel()
{
    Fixture f(*studio_);
    f.tell(GameState::NotInstalled);
    QCOMPARE(f.status->text(), u"Not installed"_s);
    f.tell(GameState::NotInstalled, u"1.2 GB required"_s);
    QCOMPARE(f.status->text(), u"1.2 GB required"_s);
    QCOMPARE(f.primary->text(), u"INSTALL"_s);
    QCOMPARE(f.meta->text(), u"BRANCH RELEASE"_s);
}

void tst_ActionBar::metaLineIsLeftAloneInTransfers()
{
    Fixture f(*studio_);
    for (const GameState state :
         {GameState::Downloading, GameState::Installing, GameState::Verifying, GameState::Repairing}) {
        f.tell(GameState::Installed);
        QCOMPARE(f.meta->text(), u"BRANCH RELEASE"_s);
        f.meta->setText(u"what stood there"_s);
        f.tell(state);
        QCOMPARE(f.meta->text(), u"what stood there"_s);
    }
}

void tst_ActionBar::metaLineNamesBranchBuildAndDownload()
{
    Fixture f(*studio_);
    QCOMPARE(f.meta->text(), u"BRANCH RELEASE"_s);
    f.game.install(build(1, 1000));
    studio_->publish(build(2, 2'500'000));
    QVERIFY(f.game.startAndCheck());
    QVERIFY(f.game.waitForState(GameState::UpdateAvailable));
    QCOMPARE(f.meta->text(), u"BRANCH RELEASE   BUILD 1.1.0   DOWNLOAD 2.5 MB"_s);
}

void tst_ActionBar::metaLineNamesEvenOneByte()
{
    Fixture f(*studio_);
    f.game.install(build(1, 1000));
    studio_->publish(build(2, 1));
    QVERIFY(f.game.startAndCheck());
    QVERIFY(f.game.waitForState(GameState::UpdateAvailable));
    QCOMPARE(f.meta->text(), u"BRANCH RELEASE   BUILD 1.1.0   DOWNLOAD 1 B"_s);
}

void tst_ActionBar::metaLineNamesTheBranchOfTheMoment()
{
    Fixture f(*studio_);
    f.game->selectChannel(u"beta"_s);
    QCOMPARE(f.meta->text(), u"BRANCH BETA"_s);
    f.game->selectChannel(u"release"_s);
    QCOMPARE(f.meta->text(), u"BRANCH RELEASE"_s);
}

void tst_ActionBar::progressFillsTrackAndLine_data()
{
    QTest::addColumn<double>("rate");
    QTest::addColumn<qint64>("eta");
    QTest::addColumn<QString>("text");
    QTest::newRow("sizes") << 0.0 << qint64{-1} << u"250 MB / 1.0 GB"_s;
    QTest::newRow("rate") << 1'500'000.0 << qint64{0} << u"250 MB / 1.0 GB   1.5 MB/s"_s;
    QTest::newRow("rate and time") << 1'500'000.0 << qint64{90} << u"250 MB / 1.0 GB   1.5 MB/s   "_s;
    QTest::newRow("time alone") << 0.0 << qint64{90} << u"250 MB / 1.0 GB   "_s;
}

void tst_ActionBar::progressFillsTrackAndLine()
{
    QFETCH(const double, rate);
    QFETCH(const qint64, eta);
    QFETCH(QString, text);
    if (eta > 0) {
        text += formatEta(eta);
    }
    Fixture f(*studio_);
    f.tell(GameState::Downloading);
    emit f.game->downloadProgressChanged(progressOf(250'000'000, 1'000'000'000, rate, eta));
    QCOMPARE(f.track->fraction(), 0.25);
    QCOMPARE(f.meta->text(), text);
}

void tst_ActionBar::progressWithoutATotalIsIgnored()
{
    Fixture f(*studio_);
    f.tell(GameState::Downloading);
    emit f.game->downloadProgressChanged(progressOf(50, 100, 0.0, -1));
    const QString text = f.meta->text();
    emit f.game->downloadProgressChanged(progressOf(99, 0, 10.0, 5));
    emit f.game->downloadProgressChanged(progressOf(99, -1, 10.0, 5));
    QCOMPARE(f.meta->text(), text);
    QCOMPARE(f.track->fraction(), 0.5);
}

void tst_ActionBar::verificationFillsTrackAndLine_data()
{
    QTest::addColumn<double>("fraction");
    QTest::addColumn<QString>("file");
    QTest::addColumn<QString>("text");
    QTest::newRow("file") << 0.3 << u"data/world.pak"_s << u"data/world.pak"_s;
    QTest::newRow("rounded") << 0.425 << QString() << u"43%"_s;
    QTest::newRow("done") << 1.0 << QString() << u"100%"_s;
}

void tst_ActionBar::verificationFillsTrackAndLine()
{
    QFETCH(const double, fraction);
    QFETCH(const QString, file);
    QFETCH(const QString, text);
    Fixture f(*studio_);
    f.tell(GameState::Verifying);
    emit f.game->verificationProgressChanged(fraction, file);
    QCOMPARE(f.track->fraction(), fraction);
    QCOMPARE(f.meta->text(), text);
}

void tst_ActionBar::branchChangeRewritesTheLineEvenInATransfer()
{
    Fixture f(*studio_);
    f.tell(GameState::Downloading);
    emit f.game->downloadProgressChanged(progressOf(50, 100, 0.0, -1));
    emit f.game->channelChanged(u"beta"_s);
    QCOMPARE(f.meta->text(), u"BRANCH RELEASE"_s);
    emit f.game->downloadProgressChanged(progressOf(60, 100, 0.0, -1));
    QCOMPARE(f.meta->text(), u"60 B / 100 B"_s);
}

void tst_ActionBar::installShowsCancelUntilItInstalls()
{
    Fixture f(*studio_);
    studio_->publish(build(1, 400'000));
    QVERIFY(f.game.startAndCheck());
    QList<std::pair<GameState, bool>> cancelShown;
    connect(&f.game.game(), &GameManager::stateChanged, f.bar.get(), [&](GameState state) {
        cancelShown.append({state, !f.cancel->isHidden()});
        if (state == GameState::Installed) {
            QVERIFY(f.track->isHidden());
            QCOMPARE(f.meta->text(), u"BRANCH RELEASE   BUILD 1.1.0"_s);
        }
    });
    f.game->primaryAction();
    QVERIFY(f.game.waitForState(GameState::Installed));
    f.game->verifyFiles();
    QVERIFY(f.game.waitUntilPast(GameState::Verifying));
    QVERIFY(f.game.waitForState(GameState::Installed));
    const QList<std::pair<GameState, bool>> expected{{GameState::Downloading, true},
                                                     {GameState::Installing, false},
                                                     {GameState::Installed, false},
                                                     {GameState::Verifying, true},
                                                     {GameState::Installed, false}};
    QCOMPARE(cancelShown, expected);
}

void tst_ActionBar::repairShowsCancel()
{
    Fixture f(*studio_);
    const Build installed = build(1, 1000);
    studio_->publish(installed);
    f.game.install(installed);
    f.game.writeFile(u"data"_s, "damaged");
    QVERIFY(f.game.startAndCheck());
    bool cancelShown = false;
    connect(&f.game.game(), &GameManager::stateChanged, f.bar.get(), [&](GameState state) {
        if (state == GameState::Repairing) {
            cancelShown = !f.cancel->isHidden();
        }
    });
    f.game->verifyFiles();
    QVERIFY(f.game.waitUntilPast(GameState::Repairing));
    QVERIFY(cancelShown);
    QVERIFY(f.game.waitForState(GameState::Installed));
    QVERIFY(f.cancel->isHidden());
}

void tst_ActionBar::cancelButtonCancels()
{
    Fixture f(*studio_);
    studio_->publish(build(1, 400'000));
    QVERIFY(f.game.startAndCheck());
    connect(&f.game.game(), &GameManager::stateChanged, f.bar.get(), [&f](GameState state) {
        if (state == GameState::Downloading) {
            QMetaObject::invokeMethod(f.cancel, &QPushButton::click, Qt::QueuedConnection);
        }
    });
    f.game->primaryAction();
    QVERIFY(f.game.waitForState(GameState::NotInstalled));
    QVERIFY(f.cancel->isHidden());
    QCOMPARE(f.primary->text(), u"INSTALL"_s);
}

void tst_ActionBar::primaryButtonActs()
{
    Fixture f(*studio_);
    studio_->publish(build(1, 1000));
    QVERIFY(f.game.startAndCheck());
    f.bar->show();
    QTest::mouseClick(f.primary, Qt::LeftButton);
    QVERIFY(f.game.waitForState(GameState::Installed));
    QCOMPARE(f.primary->text(), u"PLAY"_s);
}

void tst_ActionBar::controlsAreNamedForScreenReaders()
{
    const Fixture f(*studio_);
    const auto nameOf = [](QWidget *widget) {
        return QAccessible::queryAccessibleInterface(widget)->text(QAccessible::Name);
    };
    QCOMPARE(nameOf(f.primary), u"CHECKING"_s);
    QCOMPARE(nameOf(f.cancel), u"Cancel"_s);
    QCOMPARE(nameOf(f.track), u"Progress"_s);
    QCOMPARE(nameOf(f.badge), u"CONNECTING"_s);
    QVERIFY(QAccessible::queryAccessibleInterface(f.primary)->state().disabled);
}

void tst_ActionBar::keyboardGoesFromLeftToRight()
{
    Fixture f(*studio_);
    f.tell(GameState::Installed);
    f.cancel->show();
    f.bar->show();
    QVERIFY(QTest::qWaitForWindowActive(f.bar.get()));
    f.cancel->setFocus();
    QTest::keyClick(f.cancel, Qt::Key_Tab);
    QCOMPARE(QApplication::focusWidget(), f.primary);
}

void tst_ActionBar::focusStaysInTheBarThroughAJob()
{
    Fixture f(*studio_);
    studio_->publish(build(1, 1000));
    QVERIFY(f.game.startAndCheck());
    f.bar->show();
    QVERIFY(QTest::qWaitForWindowActive(f.bar.get()));
    f.primary->setFocus();
    QList<std::pair<GameState, QWidget *>> focus;
    connect(&f.game.game(), &GameManager::stateChanged, f.bar.get(), [&](GameState state) {
        focus.append({state, QApplication::focusWidget()});
    });
    QTest::keyClick(f.primary, Qt::Key_Space);
    QVERIFY(f.game.waitForState(GameState::Installed));
    const QList<std::pair<GameState, QWidget *>> expected{
        {GameState::Downloading, f.cancel}, {GameState::Installing, f.bar.get()}, {GameState::Installed, f.primary}};
    QCOMPARE(focus, expected);
}

void tst_ActionBar::focusNeverLeavesTheBarDuringAJob()
{
    QList<QWidget *> focus; // outlives the bar, whose end moves the focus
    BesideAnother f(*studio_);
    studio_->publish(build(1, 1000));
    QVERIFY(f.game.startAndCheck());
    QVERIFY(f.activate());
    f.primary->setFocus();
    connect(qApp, &QApplication::focusChanged, f.bar.get(),
            [&focus](QWidget * /*old*/, QWidget *now) { focus.append(now); });
    f.game->primaryAction();
    QVERIFY(f.game.waitForState(GameState::Installed));
    QCOMPARE(focus, QList<QWidget *>({f.bar.get(), f.cancel, f.bar.get(), f.primary}));
}

void tst_ActionBar::focusElsewhereStaysWhereItIs()
{
    BesideAnother f(*studio_);
    f.tell(GameState::NotInstalled);
    QVERIFY(f.activate());
    f.other.setFocus();
    for (const GameState state : {GameState::Downloading, GameState::Installing, GameState::Installed}) {
        f.tell(state);
        QCOMPARE(QApplication::focusWidget(), &f.other);
    }
}

void tst_ActionBar::focusThatLeftDuringAJobStaysAway()
{
    BesideAnother f(*studio_);
    f.tell(GameState::NotInstalled);
    QVERIFY(f.activate());
    f.primary->setFocus();
    f.tell(GameState::Installing);
    QCOMPARE(QApplication::focusWidget(), f.bar.get());
    QTest::keyClick(f.bar.get(), Qt::Key_Tab);
    QCOMPARE(QApplication::focusWidget(), &f.other);
    f.tell(GameState::Installed);
    QCOMPARE(QApplication::focusWidget(), &f.other);
}

void tst_ActionBar::nothingIsPaintedAtRest()
{
    Fixture f(*studio_);
    f.tell(GameState::Installed);
    QCOMPARE(problemAtRest(*f.bar), QString());
}

int main(int argc, char **argv)
{
    return runPixelTest<tst_ActionBar>(argc, argv);
}

#include "tst_ActionBar.moc"
