#include "Demo.h"

#include "core/Logging.h"
#include "core/Paths.h"

#include <QCommandLineParser>
#include <QCoreApplication>
#include <QDir>
#include <QFile>

using namespace Qt::Literals::StringLiterals;

namespace {

/// The demo's settings, logs and games stay below \a work, whatever the user has of the real launcher.
void redirectUserFolders(const QString &work)
{
    const QByteArray home = QFile::encodeName(QDir(work).filePath(u"home"_s));
    qputenv("HOME", home);
    qputenv("XDG_CONFIG_HOME", home + "/.config");
}

/// The launcher's log lines would drown the story.
void discardMessage(QtMsgType /*type*/, const QMessageLogContext & /*context*/, const QString & /*text*/) {}

} // namespace

int main(int argc, char **argv)
{
    QCoreApplication app(argc, argv);
    QCoreApplication::setApplicationName(u"VelmoLauncher"_s);
    QCoreApplication::setOrganizationName(u"Velmo Games"_s);
    QCoreApplication::setApplicationVersion(QStringLiteral(VELMO_VERSION));

    QCommandLineParser parser;
    parser.setApplicationDescription(
        u"Plays the launcher's main job against a studio embedded beside it: publish, serve over TLS on loopback,\n"
        "install, play, update, damage, repair, switch the branch and back. Exits with 0 when every step ended where "
        "it\n"
        "should. Everything it writes lies in the folder \"work\" beside this program."_s);
    const QCommandLineOption gameOption(u"game"_s, u"Take the files of <dir> as the game instead of a generated one."_s,
                                        u"dir"_s);
    const QCommandLineOption runOption(
        u"run"_s, u"With --game: the game's <program>, a path in that folder. Without it a small program is put in."_s,
        u"program"_s);
    const QCommandLineOption argumentsOption(u"arguments"_s, u"The <text> of arguments to start the program with."_s,
                                             u"text"_s);
    parser.addOptions({gameOption, runOption, argumentsOption});
    parser.addHelpOption();
    parser.process(app);

    velmo::demo::Demo::Options options;
    options.work = QDir(QCoreApplication::applicationDirPath()).filePath(u"work"_s);
    options.game = parser.value(gameOption);
    options.program = parser.value(runOption);
    options.arguments = parser.value(argumentsOption);
    const bool hasGame = !options.game.isEmpty();
    if ((hasGame && !QDir(options.game).exists()) || (!hasGame && !options.program.isEmpty())) {
        parser.showHelp(2);
    }
    redirectUserFolders(options.work);
    qInstallMessageHandler(discardMessage);
    return velmo::demo::Demo(options).run() ? 0 : 1;
}
