#include "support/TestEnvironment.h"

#include <QDir>
#include <QFile>
#include <QSslCertificate>
#include <QSslConfiguration>

using namespace Qt::Literals::StringLiterals;

namespace velmo::test {

TestEnvironment::TestEnvironment()
{
    const QByteArray home = QFile::encodeName(home_.path());
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
