#include "pages/SettingsPage.h"

#include "../game/DriveSpace.h"
#include "../game/GameFixture.h"
#include "PageProbe.h"

#include "core/Autostart.h"
#include "core/AutostartStore.h"
#include "core/Paths.h"
#include "support/PixelTest.h"
#include "theme/Fonts.h"
#include "theme/Motion.h"
#include "theme/Palette.h"
#include "widgets/ChannelSelector.h"
#include "widgets/ModalDialog.h"
#include "widgets/SettingRow.h"

#include <QCheckBox>
#include <QDir>
#include <QFileDialog>
#include <QLabel>
#include <QLineEdit>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QScrollArea>
#include <QSignalSpy>
#include <QStorageInfo>
#include <QTimer>
#include <QVBoxLayout>

#include <memory>

using namespace Qt::Literals::StringLiterals;
using namespace velmo;
using namespace velmo::test;
namespace color = velmo::theme::color;

namespace {

constexpr qint64 neededBytes = 12'300'000'000;

/// The page's own way to add a row, which no one else can reach: no row of this version is a planned one.
using AddToggle = QCheckBox *(SettingsPage::*)(QVBoxLayout *, const QString &, const QString &, const char *, bool,
                                               bool);
AddToggle addToggle();
template<AddToggle member>
struct Reach {
    friend AddToggle addToggle() { return member; }
};
template struct Reach<&SettingsPage::addToggle>;

/// A page over a game whose engine has not started.
struct Fixture {
    explicit Fixture(GameStudio &studio, const QList<std::pair<QString, QVariant>> &settings = {})
        : game(studio, {.settings = settings})
    {
        game.open();
        page = std::make_unique<SettingsPage>(&game.settings(), &game.game());
        page->resize(1400, 734);
        area = page->findChild<QScrollArea *>();
        column = qobject_cast<QVBoxLayout *>(area->widget()->layout());
        const QList<QLineEdit *> edits = page->findChildren<QLineEdit *>();
        Q_ASSERT(edits.size() == 2);
        folder = edits.at(0);
        arguments = edits.at(1);
        selector = page->findChild<ChannelSelector *>();
    }

    /// The row whose name is \a name.
    SettingRow *row(const QString &name) const
    {
        const QList<SettingRow *> rows = page->findChildren<SettingRow *>();
        for (SettingRow *candidate : rows) {
            if (labelReading(*candidate, name)) {
                return candidate;
            }
        }
        return nullptr;
    }
    QCheckBox *box(const QString &name) const { return row(name)->findChild<QCheckBox *>(); }
    QLabel *space() const
    {
        // The one label that lies in the column itself below the folder's row.
        const int index = column->indexOf(row(u"Installation folder"_s));
        return qobject_cast<QLabel *>(column->itemAt(index + 1)->widget());
    }
    GameFixture game;
    std::unique_ptr<SettingsPage> page;
    QScrollArea *area = nullptr;
    QVBoxLayout *column = nullptr;
    QLineEdit *folder = nullptr;
    QLineEdit *arguments = nullptr;
    ChannelSelector *selector = nullptr;
};

/// A platform with a start-up entry, which can refuse to change it, or without one.
class FakeStore : public AutostartStore {
public:
    explicit FakeStore(bool supported = true)
        : supported_(supported)
    {
        replaceInstance(this);
    }
    ~FakeStore() override { replaceInstance(nullptr); }

    bool supported() const override { return supported_; }
    QString read() const override { return entry; }
    QSettings::Status write(const QString &command) override
    {
        ++writes;
        if (refuses) {
            entry = entryOfAnother.isEmpty() ? entry : entryOfAnother;
            return QSettings::AccessError;
        }
        entry = command;
        return QSettings::NoError;
    }
    QSettings::Status remove() override
    {
        ++writes;
        if (refuses) {
            entry = entryOfAnother.isEmpty() ? entry : entryOfAnother;
            return QSettings::AccessError;
        }
        entry.clear();
        return QSettings::NoError;
    }

    QString entry;
    QString entryOfAnother; ///< what the system holds after a refusal, for somebody else was quicker
    bool refuses = false;
    int writes = 0;

private:
    bool supported_;
};

/// What a dialog showed before it was answered.
struct DialogSeen {
    QString title;
    QStringList texts;
    QString details;
    const QWidget *parent = nullptr;
    bool boxIsChecked = false; ///< of the watched box, while the dialog was open
    bool boxIsSilent = false;
};

/// Answers the dialog that comes up next by its button \a caption, and looks at the \a watched box before.
void answerNextDialog(DialogSeen &seen, const QString &caption, const QCheckBox *watched = nullptr)
{
    QTimer::singleShot(0, qApp, [&seen, caption, watched] {
        auto *dialog = qobject_cast<ModalDialog *>(QApplication::activeModalWidget());
        if (!dialog) {
            answerNextDialog(seen, caption, watched);
            return;
        }
        if (watched) {
            seen.boxIsChecked = watched->isChecked();
            seen.boxIsSilent = watched->signalsBlocked();
        }
        seen.title = dialog->windowTitle();
        seen.parent = dialog->parentWidget();
        seen.details = dialog->findChild<QPlainTextEdit *>()->toPlainText();
        const QList<QLabel *> labels = dialog->findChildren<QLabel *>();
        for (const QLabel *label : labels) {
            seen.texts.append(label->text());
        }
        QPushButton *button = buttonReading(*dialog, caption);
        QMetaObject::invokeMethod(button, &QPushButton::click, Qt::QueuedConnection);
    });
}

/// What a folder dialog showed before it was answered.
struct BrowsingSeen {
    QString title;
    QString folder;
    const QWidget *parent = nullptr;
    bool onlyFolders = false;
    bool keepsLinks = false;
};

/// Clicks on the page's "Browse" and answers the dialog; by no folder when \a chosen is empty.
BrowsingSeen browse(const SettingsPage &page, const QString &chosen)
{
    BrowsingSeen seen;
    QTimer poll;
    QObject::connect(&poll, &QTimer::timeout, &poll, [&] {
        auto *dialog = qobject_cast<QFileDialog *>(QApplication::activeModalWidget());
        if (!dialog) {
            return;
        }
        poll.stop();
        seen = {dialog->windowTitle(), dialog->directory().absolutePath(), dialog->parentWidget(),
                dialog->testOption(QFileDialog::ShowDirsOnly), dialog->testOption(QFileDialog::DontResolveSymlinks)};
        if (chosen.isEmpty()) {
            dialog->reject();
            return;
        }
        dialog->setDirectory(chosen);
        dialog->findChild<QLineEdit *>()->setText(chosen);
        static_cast<QDialog *>(dialog)->done(QDialog::Accepted);
    });
    poll.start(10);
    buttonReading(page, u"Browse"_s)->click();
    return seen;
}

} // namespace

class tst_SettingsPage : public PixelTest {
    Q_OBJECT

private slots:
    void initTestCase();
    void cleanupTestCase();

    void columnStopsGrowing();
    void rowsStandInTheirOrder();
    void headingsHaveTheirLook();
    void everyRowHasItsTexts_data();
    void everyRowHasItsTexts();
    void rowsThatThisDesktopCannotKeepAreAbsent();

    void toggleShowsAndWritesItsSetting_data();
    void toggleShowsAndWritesItsSetting();
    void toggleFallsBack_data();
    void toggleFallsBack();
    void animationsSwitchAtOnce();
    void plannedToggleIsShownAndDoesNothing();

    void autostartRowShowsAndChangesTheEntry();
    void refusedAutostartPutsTheBoxBack();
    void refusedAutostartShowsTheRealState_data();
    void refusedAutostartShowsTheRealState();
    void selectorFollowsTheGameAndDrivesIt();
    void argumentsAreWrittenAsTheyAreTyped();
    void verifyButtonVerifies();
    void scaleIsTheScreens();

    void folderControlIsOneLine();
    void unchosenFolderIsSaid();
    void chosenFolderShowsItsSpace();
    void folderToComeIsMeasuredAboveIt();
    void driveThatCannotBeAskedLeavesTheLineEmpty();
    void folderFollowsTheGame();
    void browsingChoosesAFolder();
    void browsingStartsWhereTheGameIs();
    void cancelledBrowsingChangesNothing();

    void logsAreOpened();
    void resetAsksFirst();
    void resetTakesFolderAndArgumentsBack();
    void resetLeavesMotionAndAutostartAlone();
    void configurationFileIsNamed();
    void controlsAreNamed();

private:
    std::unique_ptr<GameStudio> studio_;
};

void tst_SettingsPage::initTestCase()
{
    studio_ = std::make_unique<GameStudio>(QJsonObject{{u"estimatedInstallSize"_s, double(neededBytes)}});
    PixelTest::initTestCase();
}

void tst_SettingsPage::cleanupTestCase()
{
    studio_.reset();
}

void tst_SettingsPage::columnStopsGrowing()
{
    const Fixture f(*studio_);
    QCOMPARE(f.page->layout()->contentsMargins(), QMargins(0, 0, 0, 0));
    QVERIFY(f.area->widgetResizable());
    QCOMPARE(f.area->horizontalScrollBarPolicy(), Qt::ScrollBarAlwaysOff);
    QCOMPARE(f.area->frameShape(), QFrame::NoFrame);
    QCOMPARE(f.area->widget()->maximumWidth(), 760);
    QCOMPARE(f.column->contentsMargins(), QMargins(26, 26, 26, 26));
    QCOMPARE(f.column->spacing(), 0);
}

void tst_SettingsPage::rowsStandInTheirOrder()
{
    const FakeStore none(false);
    const Fixture f(*studio_);
    QStringList items;
    for (int i = 0; i < f.column->count(); ++i) {
        QLayoutItem *item = f.column->itemAt(i);
        if (const auto *label = qobject_cast<QLabel *>(item->widget())) {
            items.append(label == f.space() ? u"space"_s : label->text());
        } else if (item->widget()) {
            items.append(u"> "_s + item->widget()->findChildren<QLabel *>().first()->text());
        } else if (f.column->stretch(i) > 0) {
            items.append(u"stretch %1"_s.arg(f.column->stretch(i)));
        } else {
            items.append(u"gap %1"_s.arg(item->spacerItem()->sizeHint().height()));
        }
    }
    QCOMPARE(items, (QStringList{u"Settings"_s,
                                 u"gap 24"_s,
                                 u"Launcher"_s,
                                 u"> Remember window size and position"_s,
                                 u"> Check for updates on startup"_s,
                                 u"gap 28"_s,
                                 u"HARROWFEN"_s,
                                 u"> Build branch"_s,
                                 u"> Installation folder"_s,
                                 u"space"_s,
                                 u"> Launch arguments"_s,
                                 u"> Verify game files"_s,
                                 u"gap 28"_s,
                                 u"Appearance"_s,
                                 u"> Interface animations"_s,
                                 u"> Interface scale"_s,
                                 u"gap 28"_s,
                                 u"Maintenance"_s,
                                 u"> Launcher logs"_s,
                                 u"> Reset launcher settings"_s,
                                 u"gap 24"_s,
                                 u"Configuration: %1"_s.arg(configFilePath()),
                                 u"stretch 1"_s}));
}

void tst_SettingsPage::headingsHaveTheirLook()
{
    const Fixture f(*studio_);
    QCOMPARE(look(*labelReading(*f.page, u"Settings"_s)), plainLook(theme::titleFont(26), color::text));
    for (const QString &section : {u"Launcher"_s, u"HARROWFEN"_s, u"Appearance"_s, u"Maintenance"_s}) {
        const QLabel *heading = labelReading(*f.page, section);
        QCOMPARE(heading->font(), theme::displayFont(12, 600, 1.2));
        QCOMPARE(heading->styleSheet(), u"color: #6b9bd4; padding-bottom: 6px;"_s);
    }
    QCOMPARE(f.space()->font(), theme::bodyFont(11, 400));
    QCOMPARE(f.space()->styleSheet(), u"color: #677181; padding: 8px 0;"_s);
}

void tst_SettingsPage::everyRowHasItsTexts_data()
{
    QTest::addColumn<QString>("description");
    QTest::newRow("Remember window size and position") << u"Reopens the launcher where you last left it."_s;
    QTest::newRow("Check for updates on startup") << u"Contacts the Velmo Games servers when the launcher opens."_s;
    QTest::newRow("Build branch") << u"Which stream of builds the launcher follows. Switching branch rechecks against "
                                     "that branch and downloads whatever differs."_s;
    QTest::newRow("Installation folder")
        << u"Where the game files live. Changing this does not move an existing installation."_s;
    QTest::newRow("Launch arguments") << u"Passed to the game executable on start. Leave empty unless you have been "
                                         "asked to set something here."_s;
    QTest::newRow("Verify game files") << u"Checks every installed file against the release manifest and redownloads "
                                          "anything missing or damaged."_s;
    QTest::newRow("Interface animations") << u"Hover states, progress glides and status pulses. Turning this off does "
                                             "not change what the launcher can do, only how it moves."_s;
    QTest::newRow("Interface scale") << u"The launcher follows your Windows display scaling."_s;
    QTest::newRow("Launcher logs") << u"Useful when reporting a problem. Opens the folder containing the launcher log "
                                      "files."_s;
    QTest::newRow("Reset launcher settings")
        << u"Returns every launcher setting to its default. Installed game files are not touched."_s;
}

void tst_SettingsPage::everyRowHasItsTexts()
{
    QFETCH(const QString, description);
    const Fixture f(*studio_);
    const SettingRow *row = f.row(QString::fromLatin1(QTest::currentDataTag()));
    QVERIFY(row);
    QVERIFY(labelReading(*row, description));
}

void tst_SettingsPage::rowsThatThisDesktopCannotKeepAreAbsent()
{
    const FakeStore none(false);
    const Fixture f(*studio_);
    QVERIFY(!f.row(u"Start with Windows"_s));
    QVERIFY(!f.row(u"Minimise to the system tray"_s)); // no tray on the platform without windows
}

void tst_SettingsPage::toggleShowsAndWritesItsSetting_data()
{
    QTest::addColumn<QString>("key");
    QTest::newRow("Remember window size and position") << u"launcher.rememberWindowGeometry"_s;
    QTest::newRow("Check for updates on startup") << u"launcher.autoCheckUpdates"_s;
    QTest::newRow("Interface animations") << u"appearance.animations"_s;
}

void tst_SettingsPage::toggleShowsAndWritesItsSetting()
{
    QFETCH(const QString, key);
    Fixture f(*studio_, {{key, false}});
    QCheckBox *box = f.box(QString::fromLatin1(QTest::currentDataTag()));
    QVERIFY(!box->isChecked());
    QCOMPARE(box->cursor().shape(), Qt::PointingHandCursor);
    QVERIFY(box->isEnabled());
    f.page->show();
    for (const bool checked : {true, false}) {
        QTest::mouseClick(box, Qt::LeftButton, {}, QPoint(box->width() - 9, box->height() / 2));
        QCOMPARE(box->isChecked(), checked);
        QCOMPARE(f.game.settings().boolValue(key, !checked), checked);
    }
    QVERIFY(f.game.settings().save());
    ConfigManager reread;
    reread.load();
    QVERIFY(!reread.boolValue(key, true));
}

void tst_SettingsPage::toggleFallsBack_data()
{
    toggleShowsAndWritesItsSetting_data();
}

void tst_SettingsPage::toggleFallsBack()
{
    QFETCH(const QString, key);
    const Fixture f(*studio_, {{key, QVariant()}}); // as if the file did not have it
    QVERIFY(f.box(QString::fromLatin1(QTest::currentDataTag()))->isChecked());
}

void tst_SettingsPage::animationsSwitchAtOnce()
{
    const Fixture f(*studio_);
    QCheckBox *box = f.box(u"Interface animations"_s);
    box->setChecked(false);
    QVERIFY(!theme::animationsEnabled());
    box->setChecked(true);
    QVERIFY(theme::animationsEnabled());
}

void tst_SettingsPage::plannedToggleIsShownAndDoesNothing()
{
    Fixture f(*studio_, {{u"launcher.autoCheckUpdates"_s, true}});
    QSignalSpy changed(&f.game.settings(), &ConfigManager::changed);
    for (const bool planned : {true, false}) {
        const QString name = planned ? u"To come"_s : u"There"_s;
        QCheckBox *box =
            ((*f.page).*addToggle())(f.column, name, u"What it is for."_s, "launcher.autoCheckUpdates", false, planned);
        QVERIFY(box->isChecked());
        QCOMPARE(box->isEnabled(), !planned);
        QCOMPARE(labelReading(*f.row(name), u"Planned"_s)->isHidden(), !planned);
        QCOMPARE(f.row(name)->toolTip() == u"Not implemented yet."_s || box->toolTip() == u"Not implemented yet."_s,
                 planned);
        box->setChecked(false); // even if it could be
        QCOMPARE(changed.size(), planned ? 0 : 1);
    }
}

void tst_SettingsPage::autostartRowShowsAndChangesTheEntry()
{
    FakeStore store;
    store.entry = u"\"/old/VelmoLauncher\" --autostart"_s;
    Fixture f(*studio_);
    QVERIFY(labelReading(*f.row(u"Start with Windows"_s),
                         u"Launch automatically when you sign in, minimised to the system tray."_s));
    QCheckBox *box = f.box(u"Start with Windows"_s);
    QVERIFY(box->isChecked()); // by the entry, whatever the setting says
    QCOMPARE(box->cursor().shape(), Qt::PointingHandCursor);
    box->click();
    QVERIFY(store.entry.isEmpty());
    QVERIFY(!f.game.settings().boolValue(u"launcher.startWithWindows"_s, true));
    box->click();
    QCOMPARE(store.entry, expectedAutostartCommand());
    QVERIFY(f.game.settings().boolValue(u"launcher.startWithWindows"_s, false));
}

void tst_SettingsPage::refusedAutostartPutsTheBoxBack()
{
    FakeStore store;
    store.refuses = true;
    Fixture f(*studio_);
    f.page->show();
    QCheckBox *box = f.box(u"Start with Windows"_s);
    QSignalSpy changed(&f.game.settings(), &ConfigManager::changed);
    DialogSeen seen;
    answerNextDialog(seen, u"Close"_s);
    box->click();
    QVERIFY(!box->isChecked());
    QVERIFY(!box->signalsBlocked());
    QCOMPARE(seen.title, u"Could not change startup setting"_s);
    QVERIFY(seen.texts.contains(u"Windows would not let the launcher update its startup entry."_s));
    QCOMPARE(seen.details, u"Registry: HKCU\\Software\\Microsoft\\Windows\\CurrentVersion\\Run\\VelmoLauncher"_s);
    QCOMPARE(seen.parent, f.page.get());
    QCOMPARE(store.writes, 1);
    QCOMPARE(changed.size(), 0);
}

void tst_SettingsPage::refusedAutostartShowsTheRealState_data()
{
    QTest::addColumn<bool>("wasOn");
    QTest::addColumn<bool>("isOn");
    QTest::newRow("stays on") << true << true;
    QTest::newRow("stays off") << false << false;
    QTest::newRow("switched on by another") << false << true;
}

/// By the time the player reads of the refusal, the box shows what is.
void tst_SettingsPage::refusedAutostartShowsTheRealState()
{
    QFETCH(const bool, wasOn);
    QFETCH(const bool, isOn);
    const QString command = u"\"/old/VelmoLauncher\" --autostart"_s;
    FakeStore store;
    store.entry = wasOn ? command : QString();
    store.entryOfAnother = isOn ? command : QString();
    store.refuses = true;
    Fixture f(*studio_);
    f.page->show();
    QCheckBox *box = f.box(u"Start with Windows"_s);
    QCOMPARE(box->isChecked(), wasOn);
    DialogSeen seen;
    answerNextDialog(seen, u"Close"_s, box);
    box->click();
    QCOMPARE(seen.title, u"Could not change startup setting"_s);
    QCOMPARE(seen.boxIsChecked, isOn);
    QVERIFY(seen.boxIsSilent);
    QCOMPARE(box->isChecked(), isOn);
    QVERIFY(!box->signalsBlocked());
    QCOMPARE(store.writes, 1);
}

void tst_SettingsPage::selectorFollowsTheGameAndDrivesIt()
{
    Fixture f(*studio_, {{u"game.channel"_s, u"beta"_s}});
    QCOMPARE(f.selector->shownName(), u"BETA"_s);
    emit f.selector->channelSelected(u"release"_s);
    QCOMPARE(f.game->currentChannelId(), u"release"_s);
    QCOMPARE(f.selector->shownName(), u"RELEASE"_s);
    f.game->selectChannel(u"beta"_s); // by the other selector
    QCOMPARE(f.selector->shownName(), u"BETA"_s);
}

void tst_SettingsPage::argumentsAreWrittenAsTheyAreTyped()
{
    Fixture f(*studio_, {{u"game.launchArguments"_s, u"-a"_s}});
    QCOMPARE(f.arguments->text(), u"-a"_s);
    QCOMPARE(f.arguments->placeholderText(), u"-windowed -log"_s);
    QCOMPARE(f.arguments->minimumWidth(), 320);
    QSignalSpy changed(&f.game.settings(), &ConfigManager::changed);
    QTest::keyClicks(f.arguments, u" -b"_s);
    QCOMPARE(changed.size(), 3);
    QCOMPARE(f.game.settings().stringValue(u"game.launchArguments"_s, {}), u"-a -b"_s);
    f.arguments->setText(u"-a -b"_s);
    QCOMPARE(changed.size(), 3); // nothing new
}

void tst_SettingsPage::verifyButtonVerifies()
{
    Fixture f(*studio_);
    const Build build{u"1.0.0"_s, 1, {gameProgramFile()}, u"bin/game"_s, {}};
    f.game.install(build);
    studio_->publish(build);
    QVERIFY(f.game.startAndCheck());
    f.page->show();
    QPushButton *button = buttonReading(*f.page, u"Verify files"_s);
    QCOMPARE(button->property("role").toString(), u"secondary"_s);
    QCOMPARE(button->cursor().shape(), Qt::PointingHandCursor);
    button->click();
    QCOMPARE(f.game->state(), GameState::Verifying);
    QVERIFY(f.game.waitForState(GameState::Installed));
    QCOMPARE(f.game.passes().size(), 1);
}

void tst_SettingsPage::scaleIsTheScreens()
{
    const Fixture f(*studio_);
    const QLabel *scale = labelReading(*f.row(u"Interface scale"_s), expectedRatio() > 1.0 ? u"150%"_s : u"100%"_s);
    QVERIFY(scale);
    QCOMPARE(look(*scale), plainLook(theme::bodyFont(13, 400), color::textMuted));
}

void tst_SettingsPage::folderControlIsOneLine()
{
    const Fixture f(*studio_);
    const auto *line = qobject_cast<QHBoxLayout *>(f.folder->parentWidget()->layout());
    QVERIFY(line);
    QCOMPARE(line->contentsMargins(), QMargins(0, 0, 0, 0));
    QCOMPARE(line->spacing(), 8);
    QCOMPARE(line->count(), 2);
    const QPushButton *button = buttonReading(*f.page, u"Browse"_s);
    QCOMPARE(line->itemAt(0)->widget(), f.folder);
    QCOMPARE(line->itemAt(1)->widget(), button);
    QCOMPARE(button->property("role").toString(), u"secondary"_s);
    QCOMPARE(button->cursor().shape(), Qt::PointingHandCursor);
}

void tst_SettingsPage::unchosenFolderIsSaid()
{
    const Fixture f(*studio_, {{u"game.installPath"_s, QString()}});
    QCOMPARE(f.folder->text(), u"Not chosen yet"_s);
    QVERIFY(f.folder->isReadOnly());
    QCOMPARE(f.folder->minimumWidth(), 260);
    QCOMPARE(f.space()->text(), u"Choose a folder to see how much space is available."_s);
}

void tst_SettingsPage::chosenFolderShowsItsSpace()
{
    Fixture f(*studio_);
    QVERIFY(QDir().mkpath(f.game.root()));
    f.game->setInstallPath(f.game.folder());
    QCOMPARE(f.folder->text(), QDir::toNativeSeparators(f.game.folder()));
    QVERIFY(f.space()->text().endsWith(u"  ·  12.3 GB needed for a full install"_s));
    QVERIFY(f.space()->text().contains(u" free on "_s));
    QVERIFY(f.space()->text().contains(QDir::toNativeSeparators(QStorageInfo(f.game.folder()).rootPath())));
}

void tst_SettingsPage::folderToComeIsMeasuredAboveIt()
{
    Fixture f(*studio_);
    f.game->setInstallPath(f.game.folder() + u"/not/there/yet"_s);
    QCOMPARE(f.folder->text(), QDir::toNativeSeparators(f.game.folder() + u"/not/there/yet"_s));
    QVERIFY(f.space()->text().contains(QDir::toNativeSeparators(QStorageInfo(f.game.folder()).rootPath())));
}

void tst_SettingsPage::driveThatCannotBeAskedLeavesTheLineEmpty()
{
    Fixture f(*studio_);
    QVERIFY(!f.space()->text().isEmpty());
    const DriveSpace unknown(-1);
    QLabel *line = f.space();
    f.game->setInstallPath(f.game.folder());
    QVERIFY2(line->text().isEmpty(), qPrintable(line->text()));
}

void tst_SettingsPage::folderFollowsTheGame()
{
    Fixture f(*studio_);
    f.game->setInstallPath(u"/somewhere/else"_s);
    QCOMPARE(f.folder->text(), QDir::toNativeSeparators(u"/somewhere/else"_s));
    f.game->setInstallPath(QString());
    QCOMPARE(f.folder->text(), u"Not chosen yet"_s);
}

void tst_SettingsPage::browsingChoosesAFolder()
{
    Fixture f(*studio_, {{u"game.installPath"_s, QString()}});
    f.page->show();
    const QString chosen = QFileInfo(f.game.folder()).canonicalFilePath();
    const BrowsingSeen seen = browse(*f.page, chosen);
    QCOMPARE(seen.title, u"Choose where to install HARROWFEN"_s);
    QCOMPARE(seen.parent, f.page.get());
    QVERIFY(seen.onlyFolders);
    QVERIFY(seen.keepsLinks);
    QCOMPARE(f.game->installPath(), chosen);
    QCOMPARE(f.folder->text(), QDir::toNativeSeparators(chosen));
}

void tst_SettingsPage::browsingStartsWhereTheGameIs()
{
    QVERIFY(QDir().mkpath(defaultGamesRoot()));
    Fixture f(*studio_, {{u"game.installPath"_s, QString()}});
    f.page->show();
    QCOMPARE(browse(*f.page, {}).folder, defaultGamesRoot());
    f.game->setInstallPath(f.game.folder());
    QCOMPARE(browse(*f.page, {}).folder, f.game.folder());
}

void tst_SettingsPage::cancelledBrowsingChangesNothing()
{
    Fixture f(*studio_);
    const QString before = f.game->installPath();
    f.page->show();
    QCOMPARE(browse(*f.page, {}).title, u"Choose where to install HARROWFEN"_s);
    QCOMPARE(f.game->installPath(), before);
}

void tst_SettingsPage::logsAreOpened()
{
    Fixture f(*studio_);
    const UrlCatcher desktop({u"file"_s});
    f.game.log().clear();
    QPushButton *button = buttonReading(*f.page, u"Open logs"_s);
    QCOMPARE(button->property("role").toString(), u"secondary"_s);
    QCOMPARE(button->cursor().shape(), Qt::PointingHandCursor);
    button->click();
    QCOMPARE(desktop.urls(), QList<QUrl>{QUrl::fromLocalFile(logsDirectory())});
    QVERIFY(QDir(logsDirectory()).exists());
    QVERIFY(f.game.log().contains(QtInfoMsg, u"velmo.ui"_s, u"Opening log folder \"%1\""_s.arg(logsDirectory())));
}

void tst_SettingsPage::resetAsksFirst()
{
    Fixture f(*studio_, {{u"game.launchArguments"_s, u"-a"_s}});
    QPushButton *button = buttonReading(*f.page, u"Reset"_s);
    QCOMPARE(button->property("role").toString(), u"danger"_s);
    QCOMPARE(button->cursor().shape(), Qt::PointingHandCursor);
    f.page->show();
    DialogSeen seen;
    answerNextDialog(seen, u"Cancel"_s);
    button->click();
    QCOMPARE(seen.title, u"Reset launcher settings"_s);
    QCOMPARE(seen.parent, f.page.get());
    QVERIFY(
        seen.texts.contains(u"Every launcher setting will return to its default, including your chosen installation "
                            "folder.\n\nInstalled game files are not affected."_s));
    QCOMPARE(f.game.settings().stringValue(u"game.launchArguments"_s, {}), u"-a"_s);
    QCOMPARE(f.arguments->text(), u"-a"_s);
}

void tst_SettingsPage::resetTakesFolderAndArgumentsBack()
{
    Fixture f(*studio_, {{u"game.launchArguments"_s, u"-a"_s}, {u"launcher.autoCheckUpdates"_s, false}});
    f.page->show();
    f.game.log().clear();
    DialogSeen seen;
    answerNextDialog(seen, u"Reset settings"_s);
    buttonReading(*f.page, u"Reset"_s)->click();
    QCOMPARE(f.game->installPath(), QString());
    QCOMPARE(f.folder->text(), u"Not chosen yet"_s);
    QCOMPARE(f.arguments->text(), QString());
    QVERIFY(f.game.log().contains(QtInfoMsg, u"velmo.ui"_s, u"Launcher settings reset from the settings page"_s));
    // The boxes keep what they show until the next start, though the setting is back.
    QVERIFY(!f.box(u"Check for updates on startup"_s)->isChecked());
    QVERIFY(f.game.settings().boolValue(u"launcher.autoCheckUpdates"_s, false));
}

void tst_SettingsPage::resetLeavesMotionAndAutostartAlone()
{
    FakeStore store;
    store.entry = u"\"/old/VelmoLauncher\" --autostart"_s;
    Fixture f(*studio_);
    f.page->show();
    f.box(u"Interface animations"_s)->setChecked(false);
    DialogSeen seen;
    answerNextDialog(seen, u"Reset settings"_s);
    buttonReading(*f.page, u"Reset"_s)->click();
    QVERIFY(f.game.settings().boolValue(u"appearance.animations"_s, false));
    QVERIFY(!f.box(u"Interface animations"_s)->isChecked());
    QVERIFY(!theme::animationsEnabled()); // until the next start
    QVERIFY(f.box(u"Start with Windows"_s)->isChecked());
    QCOMPARE(store.entry, u"\"/old/VelmoLauncher\" --autostart"_s);
    QCOMPARE(store.writes, 0);
}

void tst_SettingsPage::configurationFileIsNamed()
{
    const Fixture f(*studio_);
    const QLabel *file = labelReading(*f.page, u"Configuration: %1"_s.arg(configFilePath()));
    QCOMPARE(look(*file), plainLook(theme::bodyFont(11, 400), color::textDim));
    QVERIFY(file->wordWrap());
    QCOMPARE(file->textInteractionFlags(), Qt::TextSelectableByMouse);
}

void tst_SettingsPage::controlsAreNamed()
{
    const Fixture f(*studio_);
    QCOMPARE(f.box(u"Interface animations"_s)->accessibleName(), u"Interface animations"_s);
    QCOMPARE(f.arguments->accessibleName(), u"Launch arguments"_s);
    QCOMPARE(f.selector->accessibleName(), u"Build branch"_s);
}

int main(int argc, char **argv)
{
    return runPixelTest<tst_SettingsPage>(argc, argv);
}

#include "tst_SettingsPage.moc"
