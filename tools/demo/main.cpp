#include "Demo.h"
#include "FolderLock.h"
#include "Hand.h"

#include "theme/Theme.h"
#include "widgets/Accessible.h"

#include <QApplication>
#include <QCommandLineParser>
#include <QDir>
#include <QFile>

#include <cstdio>

using namespace Qt::Literals::StringLiterals;

namespace {

/// The demo's settings, logs and games stay below \a work, whatever the user has of the real launcher.
void redirectUserFolders(const QString &work)
{
    const QByteArray home = QFile::encodeName(QDir(work).filePath(u"home"_s));
    qputenv("HOME", home);
    qputenv("XDG_CONFIG_HOME", QByteArray(home + "/.config"));
}

/// The launcher's log lines would drown the story.
void discardMessage(QtMsgType /*type*/, const QMessageLogContext & /*context*/, const QString & /*text*/) {}

} // namespace

int main(int argc, char **argv)
{
    QGuiApplication::setHighDpiScaleFactorRoundingPolicy(Qt::HighDpiScaleFactorRoundingPolicy::PassThrough);
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
        "picture of each state. Everything it writes lies in the folders \"work\" and \"screens\" beside this "
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

    velmo::demo::Demo::Options options;
    options.work = QDir(QCoreApplication::applicationDirPath()).filePath(u"work"_s);
    // One album for each ratio of device pixels to logical ones.
    options.screens =
        QDir(QCoreApplication::applicationDirPath()).filePath(u"screens/at-%1"_s.arg(app.devicePixelRatio()));
    options.game = parser.value(gameOption);
    options.program = parser.value(runOption);
    options.arguments = parser.value(argumentsOption);
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
    velmo::demo::Demo demo(options);
    if (!parser.isSet(storyOption)) {
        return demo.open() ? 0 : 1;
    }
    if (!velmo::demo::handIsThere()) {
        std::fputs("velmo-demo: --story needs an X display and the program xdotool\n", stderr);
        return 2;
    }
    QGuiApplication::setQuitOnLastWindowClosed(false); // the story closes the launcher and opens it again
    return demo.play() ? 0 : 1;
}
