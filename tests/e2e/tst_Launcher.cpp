#include "BuildFolder.h"
#include "Hand.h"
#include "Problem.h"
#include "Story.h"

#include "support/LogCapture.h"
#include "support/TestEnvironment.h"
#include "theme/Theme.h"

#include <QApplication>
#include <QDir>
#include <QFile>
#include <QUuid>
#include <QtEndian>

#include <algorithm>
#include <memory>
#include <utility>

using namespace Qt::Literals::StringLiterals;
using namespace velmo;
using namespace velmo::test;
using demo::LauncherProcess;
using demo::Player;

namespace {

constexpr int patienceMs = 120 * 1000;

/// Whether a program runs that was started with the argument \a mark.
bool isProcessThere(const QString &mark)
{
    const QStringList processes = QDir(u"/proc"_s).entryList({u"[0-9]*"_s}, QDir::Dirs);
    return std::any_of(processes.begin(), processes.end(), [&mark](const QString &process) {
        QFile file(u"/proc/%1/cmdline"_s.arg(process));
        return file.open(QIODevice::ReadOnly) && file.readAll().contains(mark.toUtf8());
    });
}

} // namespace

/// The program that players get, from its first start on: the demo's story of its main job, then what only a test looks
/// at, in runs that build on each other. Its real window by a real mouse, its real trust in what the system trusts, and
/// the whole log of each run. The same holds on each machine that Machine knows, and pictures of its stations stay in
/// the folder "screens" beside this program.
class tst_Launcher : public QObject {
    Q_OBJECT

private slots:
    void initTestCase();
    void init() { QVERIFY2(isTold_, "the story did not come this far"); }
    void cleanupTestCase();

    void programNeedsNoConsole();
    void storyIsPlayed_data();
    void storyIsPlayed();
    void nextStartFindsNothingToDo();
    void closingDuringADownloadAsks();
    void nextStartGoesOnWithTheDownload();
    void gameGetsItsArgumentsAndItsFolder();
    void closingTheLauncherEndsTheGame();
    void signInIsSwitchedOnAndOff();
    void staleSignInCommandIsRewritten();
    void signInOpensToTheTray();
    void strangersCertificateIsNotTrusted();

private:
    Player &player() { return story_->player(); }
    LauncherProcess &launcher() { return player().launcher(); }
    QString gamePath() const { return machine_->isWindows() ? u"bin/game.exe"_s : u"bin/game"_s; }
    QString makeGame() const;
    QString expectedSignInCommand() const;

    QTemporaryDir folder_;
    std::unique_ptr<demo::Machine> machine_;
    std::unique_ptr<demo::Story> story_;
    bool isTold_ = true; ///< the story, so far
};

void tst_Launcher::initTestCase()
try {
    QVERIFY2(demo::handIsThere(), "this test needs an X display and xdotool");
    const LogCapture quiet;
    theme::Theme::apply();
    machine_ = std::make_unique<demo::Machine>(folder_.path());
    QVERIFY(machine_->install(QStringLiteral(VELMO_LAUNCHER)));
    demo::Story::Options options;
    options.work = folder_.filePath(u"work"_s);
    options.screens = QCoreApplication::applicationDirPath() +
                      u"/screens/%1-at-%2"_s.arg(machine_->isWindows() ? u"windows"_s : u"linux"_s,
                                                 QString::number(qApp->devicePixelRatio()));
    options.game = makeGame();
    options.program = gamePath();
    options.patienceMs = patienceMs;
    options.tell = [](const QString &text) { qInfo().noquote() << text; };
    story_ = std::make_unique<demo::Story>(options, *machine_);
    // Each file by its hash, and all in one: there are systems that look for the one and for the other.
    const QString authorities = folder_.filePath(u"authorities"_s);
    demo::writeFile(authorities + u"/authority.pem"_s, demo::StoryStudio::authority());
    QCOMPARE(QProcess::execute(u"openssl"_s, {u"rehash"_s, authorities}), 0);
    demo::writeFile(authorities + u"/ca-certificates.crt"_s, demo::StoryStudio::authority());
    launcher().setPrefix({QStringLiteral(VELMO_WITH_AUTHORITIES), authorities});
} catch (const demo::Problem &problem) {
    QFAIL(problem.what());
}

void tst_Launcher::cleanupTestCase()
{
    story_.reset();
    QFile::remove(QCoreApplication::applicationDirPath() + u"/game.json"_s);
}

/// A small one, whose program does what it is told.
QString tst_Launcher::makeGame() const
{
    const QString game = folder_.filePath(u"game"_s);
    const QString program = game + u'/' + gamePath();
    const QString source =
        machine_->isWindows() ? qEnvironmentVariable("VELMO_WINDOWS_GAME") : QStringLiteral(VELMO_TEST_GAME);
    demo::writeFile(game + u"/data/fen.pak"_s, QByteArray(3'000'000, 'f'));
    demo::writeFile(game + u"/data/lantern.pak"_s, QByteArray(40'000, 'l'));
    demo::writeFile(game + u"/data/mist.pak"_s, QByteArray(9'000, 'm'));
    demo::writeFile(game + u"/data/old.txt"_s, QByteArray(90, 'o'));
    QDir().mkpath(QFileInfo(program).path());
    return QFile::copy(source, program) ? game : QString();
}

void tst_Launcher::programNeedsNoConsole()
{
    if (!machine_->isWindows()) {
        QSKIP("a console is a matter of Windows programs");
    }
    QFile file(machine_->program());
    QVERIFY(file.open(QIODevice::ReadOnly));
    const QByteArray program = file.read(4096);
    constexpr qsizetype headerOffsetPlace = 0x3C; // where the file says at which place its second header begins
    constexpr qsizetype subsystemPlace = 0x5C;    // of that header
    constexpr quint16 windowsWithoutConsole = 2;
    QVERIFY(program.startsWith("MZ"));
    const auto header = qsizetype(qFromLittleEndian<quint32>(program.constData() + headerOffsetPlace));
    QVERIFY(header + subsystemPlace + 2 <= program.size());
    QCOMPARE(program.sliced(header, 4), QByteArray("PE\0\0", 4));
    QCOMPARE(qFromLittleEndian<quint16>(program.constData() + header + subsystemPlace), windowsWithoutConsole);
}

void tst_Launcher::storyIsPlayed_data()
{
    QTest::addColumn<qsizetype>("number");
    qsizetype number = 0;
    for (const demo::Story::Step &step : demo::Story::steps()) {
        QTest::newRow(qPrintable(step.title)) << number++;
    }
}

void tst_Launcher::storyIsPlayed()
try {
    QFETCH(const qsizetype, number);
    isTold_ = false;
    (story_.get()->*demo::Story::steps().at(number).play)();
    isTold_ = true;
} catch (const demo::Problem &problem) {
    QFAIL(problem.what());
}

void tst_Launcher::nextStartFindsNothingToDo()
try {
    story_->studio().server().clearRequests();
    player().start();
    player().close();
    QCOMPARE(story_->studio().server().requests().size(), 1); // the manifest, and nothing else
    QVERIFY(player().offerLines().value(0).contains(u"No update available"_s));
} catch (const demo::Problem &problem) {
    QFAIL(problem.what());
}

void tst_Launcher::closingDuringADownloadAsks()
try {
    player().presetSetting(u"launcher"_s, u"minimizeToTray"_s, true); // there too, closing ends the program
    story_->publishNext(player().installed(), u"1.3.0"_s, 130, u"release"_s);
    const demo::Difference difference = demo::differenceOf(player().installed().folder, player().offer().folder);
    const QStringList lines = player().downloadLines(difference.fetched, difference.bytes);
    // A hundred seconds for all of it, so that two dialogs fit in on any machine.
    story_->studio().server().setBytesPerSecond(30'000);
    player().start();
    player().click(player().twin().primaryButton());
    player().expectLog(lines.mid(0, 2));
    player().expectAfterFiles(u"Downloading \"fen.pak\""_s);
    const QFile unfinished(player().installFolder() + u"/data/fen.pak.part"_s);
    QTRY_VERIFY(unfinished.size() > 0);
    player().click(player().twin().closeButton());
    player().answer(demo::WindowTwin::close, u"Cancel"_s);
    const qint64 before = unfinished.size();
    QTRY_VERIFY(unfinished.size() > before); // nothing has happened to the download
    QVERIFY(launcher().isRunning());
    player().click(player().twin().closeButton());
    player().answer(demo::WindowTwin::close, u"Close anyway"_s);
    player().expectLog(
        QStringList{Player::line(u"velmo.download"_s, u"Download cancelled by the user"_s),
                    Player::line(u"velmo.game"_s, u"Install cancelled; leaving partial files in place for resume"_s),
                    player().offerLines().value(1)} +
        Player::closingLines());
    player().waitForEnd();
    QVERIFY(unfinished.size() >= before);
} catch (const demo::Problem &problem) {
    QFAIL(problem.what());
}

void tst_Launcher::nextStartGoesOnWithTheDownload()
try {
    const qint64 kept = QFile(player().installFolder() + u"/data/fen.pak.part"_s).size();
    QVERIFY(kept > 0);
    story_->studio().server().setBytesPerSecond(0);
    story_->studio().server().clearRequests();
    player().start();
    player().installOffer();
    const QList<studio::Request> requests = story_->studio().server().requests();
    const auto isFen = [](const studio::Request &request) { return request.headers.contains("range"); };
    QCOMPARE(std::count_if(requests.begin(), requests.end(), isFen), 1);
    QCOMPARE(std::find_if(requests.begin(), requests.end(), isFen)->headers.value("range"),
             "bytes=" + QByteArray::number(kept) + '-');
    QCOMPARE(requests.size(), 4); // with the manifest and the two other files
    player().close();
} catch (const demo::Problem &problem) {
    QFAIL(problem.what());
}

void tst_Launcher::gameGetsItsArgumentsAndItsFolder()
try {
    const QString record = player().installFolder() + u"/arguments of the game.txt"_s;
    const QString argument = u"record="_s + machine_->nameOf(record);
    player().presetSetting(u"launcher"_s, u"minimizeToTray"_s, false); // the window stays while the game runs
    player().presetSetting(u"game"_s, u"launchArguments"_s, u"-windowed \"%1\" \"two words\" exit=7"_s.arg(argument));
    player().start();
    player().click(player().twin().primaryButton());
    player().expectLog(player().playLines(u"QList(\"-windowed\", \"%1\", \"two words\", \"exit=7\")"_s.arg(argument),
                                          u"7 (normal)"_s));
    player().close();
    const QStringList lines = QString::fromUtf8(demo::contentOf(record)).split(u'\n', Qt::SkipEmptyParts);
    const QString folder = QFileInfo(player().installFolder() + u'/' + gamePath()).path();
    QCOMPARE(QString(lines.value(0)).replace(u'\\', u'/'), machine_->nameOf(folder));
    QCOMPARE(lines.mid(1), QStringList({u"-windowed"_s, argument, u"two words"_s, u"exit=7"_s}));
} catch (const demo::Problem &problem) {
    QFAIL(problem.what());
}

void tst_Launcher::closingTheLauncherEndsTheGame()
try {
    const QString mark = QUuid::createUuid().toString(QUuid::WithoutBraces);
    player().presetSetting(u"game"_s, u"launchArguments"_s, u"wait=600000 %1"_s.arg(mark));
    player().start();
    player().click(player().twin().primaryButton());
    player().expectLog(player().playLines(u"QList(\"wait=600000\", \"%1\")"_s.arg(mark), QString()).mid(0, 3));
    QTRY_VERIFY(isProcessThere(mark));
    player().click(player().twin().closeButton()); // no question
    player().expectLog({Player::closingLines().first(),
                        Player::line(u"default"_s,
                                     u"QProcess: Destroyed while process (\"*%1\") is still running."_s.arg(
                                         QFileInfo(gamePath()).fileName()),
                                     u"WARN "_s),
                        Player::closingLines().last()});
    player().waitForEnd();
    QTRY_VERIFY(!isProcessThere(mark));
    player().presetSetting(u"game"_s, u"launchArguments"_s, QString());
    player().presetSetting(u"launcher"_s, u"minimizeToTray"_s, true);
} catch (const demo::Problem &problem) {
    QFAIL(problem.what());
}

void tst_Launcher::signInIsSwitchedOnAndOff()
try {
    if (!machine_->isWindows()) {
        QSKIP("this system has no place for a command at sign-in");
    }
    QVERIFY(machine_->signInCommand().isEmpty());
    player().start();
    player().clickSetting(u"Start with Windows"_s);
    player().expectLog({Player::line(u"velmo.app"_s, u"Autostart enabled"_s)});
    QCOMPARE(machine_->signInCommand(), expectedSignInCommand());
    player().clickSetting(u"Start with Windows"_s);
    player().expectLog({Player::line(u"velmo.app"_s, u"Autostart disabled"_s)});
    QVERIFY(machine_->signInCommand().isEmpty());
    player().close();
} catch (const demo::Problem &problem) {
    QFAIL(problem.what());
}

void tst_Launcher::staleSignInCommandIsRewritten()
try {
    if (!machine_->isWindows()) {
        QSKIP("this system has no place for a command at sign-in");
    }
    QVERIFY(machine_->setSignInCommand(uR"("C:\Old place\VelmoLauncher.exe" --autostart)"_s));
    QVERIFY(machine_->signInCommand() != expectedSignInCommand());
    player().launch();
    QStringList start = player().startLines();
    start.insert(start.size() - 2,
                 Player::line(u"velmo.app"_s, u"Autostart entry points at a stale path, rewriting"_s));
    start.insert(start.size() - 2, Player::line(u"velmo.app"_s, u"Autostart enabled"_s));
    player().expectLog(start + player().checkLines() + player().offerLines());
    player().close();
    QCOMPARE(machine_->signInCommand(), expectedSignInCommand());
} catch (const demo::Problem &problem) {
    QFAIL(problem.what());
}

void tst_Launcher::signInOpensToTheTray()
try {
    player().launch({u"--autostart"_s}, true);
    QStringList start = player().startLines();
    start.insert(start.size() - 1, Player::line(u"velmo.app"_s, u"Autostart: opening to the tray"_s));
    player().expectLog(start + player().checkLines() + player().offerLines());
    const QPoint icon = launcher().trayIcon();
    QVERIFY(icon.x() > 0);
    QVERIFY(!launcher().isWindowSeen());
    QVERIFY(demo::clickAt(icon));
    QVERIFY(launcher().showsWindow());
    player().click(player().twin().primaryButton());
    player().expectLog(player().playLines(u"QList()"_s, u"0 (normal)"_s));
    QTRY_VERIFY(!launcher().isWindowSeen()); // the game had the screen, and the window does not come back by itself
    const QSet<QString> windows = launcher().visibleWindows();
    QVERIFY(demo::rightClickAt(icon));
    constexpr int middleOfTheLastRow = 14; // above the bottom
    const QRect menu = launcher().menuBeside(windows);
    player().keepScreen(u"tray menu"_s);
    QVERIFY(!menu.isEmpty());
    QVERIFY(demo::clickAt({menu.center().x(), menu.bottom() - middleOfTheLastRow}));
    player().expectLog(
        {Player::line(u"velmo.app"_s, u"Quit requested from the tray"_s), Player::closingLines().last()});
    player().waitForEnd();
} catch (const demo::Problem &problem) {
    QFAIL(problem.what());
}

void tst_Launcher::strangersCertificateIsNotTrusted()
try {
    const QTemporaryDir nobody;
    launcher().setPrefix({QStringLiteral(VELMO_WITH_AUTHORITIES), nobody.path()});
    story_->studio().server().clearRequests();
    story_->startOffline();
    player().close();
    QVERIFY(story_->studio().server().requests().isEmpty());
} catch (const demo::Problem &problem) {
    QFAIL(problem.what());
}

QString tst_Launcher::expectedSignInCommand() const
{
    return u'"' + machine_->nameOf(machine_->program()).replace(u'/', u'\\') + u"\" --autostart"_s;
}

int main(int argc, char **argv)
{
    return velmo::test::runTest<tst_Launcher, QApplication>(argc, argv);
}

#include "tst_Launcher.moc"
