#include "support/TestEnvironment.h"

#include <QDir>
#include <QFile>
#include <QProcessEnvironment>
#include <QSslCertificate>
#include <QSslConfiguration>

using namespace Qt::Literals::StringLiterals;

namespace velmo::test {

namespace {

#ifdef Q_OS_WIN
/// Wine keeps the host's variables that begin with QT_ from a program; packaging/windows/run-wine hands them over under
/// another name.
void takeQtVariables()
{
    const QStringList names = QProcessEnvironment::systemEnvironment().keys();
    for (const QString &name : names) {
        if (name.startsWith("VELMO_HOST_QT_"_L1)) {
            const QByteArray host = name.toLocal8Bit();
            qputenv(host.mid(int(qstrlen("VELMO_HOST_"))).constData(), qgetenv(host.constData()));
        }
    }
}
#endif

} // namespace

TestEnvironment::TestEnvironment()
{
    const QByteArray home = QFile::encodeName(QDir::toNativeSeparators(home_.path()));
#ifdef Q_OS_WIN
    takeQtVariables();
    qputenv("QT_FORCE_STDERR_LOGGING", "1"); // else Qt Test tells its results to a debugger
    qputenv("VELMO_HOME", home); // where scripts/windows has put the user's local application data
#endif
    qputenv("HOME", home);
    qputenv("XDG_CONFIG_HOME", home + "/.config");
    qputenv("XDG_DATA_HOME", home + "/.local/share");
    qputenv("XDG_CACHE_HOME", home + "/.cache");
}

QString TestEnvironment::home()
{
    return QDir::homePath();
}

void trustTestAuthority()
{
    QFile file(u":/certificates/authority.pem"_s);
    const bool opened = file.open(QIODevice::ReadOnly);
    Q_ASSERT(opened);
    Q_UNUSED(opened)
    QSslConfiguration configuration = QSslConfiguration::defaultConfiguration();
    configuration.addCaCertificate(QSslCertificate(&file, QSsl::Pem));
    QSslConfiguration::setDefaultConfiguration(configuration);
}

} // namespace velmo::test
