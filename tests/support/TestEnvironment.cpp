#include "support/TestEnvironment.h"

#include <QDir>
#include <QFile>
#include <QSslCertificate>
#include <QSslConfiguration>

#include <utility>

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

QString own;

using Variables = QList<std::pair<const char *, QString>>;

/// What tells a launcher where its user's folders are.
Variables variablesOf(const QString &folder)
{
    return {
        {"VELMO_HOME", QDir::toNativeSeparators(folder)}, // scripts/windows says so to Wine's registry
        {"HOME", folder},
        {"XDG_CONFIG_HOME", folder + u"/.config"_s},
        {"XDG_DATA_HOME", folder + u"/.local/share"_s},
        {"XDG_CACHE_HOME", folder + u"/.cache"_s},
    };
}

} // namespace

TestEnvironment::TestEnvironment()
{
#ifdef Q_OS_WIN
    takeQtVariables();
    qputenv("QT_FORCE_STDERR_LOGGING", "1"); // else Qt Test tells its results to a debugger
#endif
    own = folder_.path();
    redirect(own);
}

void TestEnvironment::redirect(const QString &folder)
{
    const Variables variables = variablesOf(folder);
    for (const auto &[name, value] : variables) {
        qputenv(name, QFile::encodeName(value));
    }
}

QProcessEnvironment TestEnvironment::redirected(const QString &folder)
{
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    const Variables variables = variablesOf(folder);
    for (const auto &[name, value] : variables) {
        environment.insert(QString::fromLatin1(name), value);
    }
    return environment;
}

QString TestEnvironment::dataLocation(const QString &folder)
{
#ifdef Q_OS_WIN
    return folder + u"/Local"_s;
#else
    return folder + u"/.config"_s;
#endif
}

QString TestEnvironment::ownFolder()
{
    return own;
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
