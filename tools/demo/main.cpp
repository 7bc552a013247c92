#include "FolderLock.h"
#include "Hand.h"
#include "Problem.h"
#include "Story.h"

#include "core/Application.h"
#include "theme/Theme.h"
#include "widgets/Accessible.h"

#include <QApplication>
#include <QCommandLineParser>
#include <QDir>
#include <QFile>
#include <QSslCertificate>
#include <QSslConfiguration>

#include <cstdio>
#include <cstring>

using namespace Qt::Literals::StringLiterals;

namespace {

constexpr const char *launcherOption = "--launcher"; // the demo starts itself with it
constexpr int patienceMs = 20 * 60 * 1000;           // a real game may be large

/// The demo's settings, logs and games stay below \a work, whatever the user has of the real launcher.
void redirectUserFolders(const QString &work)
{
    const QByteArray home = QFile::encodeName(QDir(work).filePath(u"home"_s));
    qputenv("HOME", home);
    qputenv("XDG_CONFIG_HOME", QByteArray(home + "/.config"));
}

/// The launcher's log lines would drown the story.
void discardMessage(QtMsgType /*type*/, const QMessageLogContext & /*context*/, const QString & /*text*/) {}

void say(const QString &text)
{
    std::fputs((text + u'\n').toLocal8Bit().constData(), stdout);
    std::fflush(stdout);
}

/// The launcher itself, as the demo starts it: the program that players get, but for its trust in the demo's studio.
int runLauncher(int argc, char **argv)
{
    velmo::Application application(argc, argv);
    QSslConfiguration trust = QSslConfiguration::defaultConfiguration();
    trust.addCaCertificate(QSslCertificate(velmo::demo::StoryStudio::authority(), QSsl::Pem));
    QSslConfiguration::setDefaultConfiguration(trust);
    return application.start() ? velmo::Application::exec() : 1;
}

/// False at the first step that does not end where it should; why has then been printed.
bool play(velmo::demo::Story &story)
{
    int number = 0;
    for (const auto &[title, step] : velmo::demo::Story::steps()) {
        say(u"\n%1. %2"_s.arg(QString::number(++number), title));
        try {
            (story.*step)();
            if (story.player().launcher().isRunning()) {
                story.player().keepScreen(u"step %1 %2"_s.arg(QString::number(number), title));
            }
        } catch (const velmo::demo::Problem &problem) {
            say(u"   !! %1\n   !! Step %2 did not end where it should."_s.arg(QString::fromUtf8(problem.what()))
                    .arg(number));
            return false;
        }
    }
    say(u"\nEvery step ended where it should."_s);
    return true;
}

bool open(velmo::demo::Story &story)
{
    try {
        story.open();
        return true;
    } catch (const velmo::demo::Problem &problem) {
        say(u"   !! "_s + QString::fromUtf8(problem.what()));
        return false;
    }
}

} // namespace

int main(int argc, char **argv)
{
    QGuiApplication::setHighDpiScaleFactorRoundingPolicy(Qt::HighDpiScaleFactorRoundingPolicy::PassThrough);
    if (argc == 2 && std::strcmp(argv[1], launcherOption) == 0) {
        return runLauncher(argc, argv);
    }
    QApplication app(argc, argv);
    QCoreApplication::setApplicationName(u"VelmoLauncher"_s);
    QCoreApplication::setOrganizationName(u"Velmo Games"_s);
    QCoreApplication::setApplicationVersion(QStringLiteral(VELMO_VERSION));

    QCommandLineParser parser;
    parser.setApplicationDescription(
        u"Opens the launcher's window against a studio embedded beside it. With --story it plays the launcher's main "
        u"job by\n"
        "real clicks on the real buttons: publish, serve over TLS on loopback, install, cancel, play, update, damage,\n"
        "repair, switch the branch and back. It then exits with 0 when every step ended where it should, and keeps a\n"
        "picture of each step. Everything it writes lies in the folders \"work\" and \"screens\" beside this "
        "program."_s);
    const QCommandLineOption gameOption(u"game"_s, u"Take the files of <dir> as the game instead of a generated one."_s,
                                        u"dir"_s);
    const QCommandLineOption runOption(
        u"run"_s, u"With --game: the game's <program>, a path in that folder. Without it a small program is put in."_s,
        u"program"_s);
    const QCommandLineOption argumentsOption(u"arguments"_s, u"The <text> of arguments to start the program with."_s,
                                             u"text"_s);
    const QCommandLineOption storyOption(u"story"_s, u"Play the story; needs an X display and xdotool."_s);
    parser.addOptions({storyOption, gameOption, runOption, argumentsOption});
    parser.addHelpOption();
    parser.process(app);

    velmo::demo::Story::Options options;
    options.work = QDir(QCoreApplication::applicationDirPath()).filePath(u"work"_s);
    // One album for each ratio of device pixels to logical ones.
    options.screens =
        QDir(QCoreApplication::applicationDirPath()).filePath(u"screens/at-%1"_s.arg(app.devicePixelRatio()));
    options.game = parser.value(gameOption);
    options.program = parser.value(runOption);
    options.arguments = parser.value(argumentsOption);
    options.patienceMs = patienceMs;
    options.tell = say;
    const bool hasGame = !options.game.isEmpty();
    if ((hasGame && !QDir(options.game).exists()) || (!hasGame && !options.program.isEmpty())) {
        parser.showHelp(2);
    }
    const QString folder = QCoreApplication::applicationDirPath();
    if (!velmo::demo::lockFolder(folder)) {
        std::fprintf(stderr, "velmo-demo: another demo runs in %s and would be spoilt; end that one first\n",
                     qUtf8Printable(QDir::toNativeSeparators(folder)));
        return 1;
    }
    redirectUserFolders(options.work);
    qInstallMessageHandler(discardMessage);
    velmo::theme::Theme::apply();
    velmo::installAccessibility();
    velmo::demo::Machine machine(options.work);
    machine.use({QCoreApplication::applicationFilePath(), QString::fromLatin1(launcherOption)});
    const bool story = parser.isSet(storyOption);
    if (story && !velmo::demo::handIsThere()) {
        std::fputs("velmo-demo: --story needs an X display and the program xdotool\n", stderr);
        return 2;
    }
    velmo::demo::Story demo(options, machine);
    return (story ? play(demo) : open(demo)) ? 0 : 1;
}
