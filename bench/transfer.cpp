// Downloads or verifies one file as the launcher does, in a process of its own, and prints the peak of its resident
// memory and the time it took.

#include "game/VerificationManager.h"
#include "net/DownloadClient.h"

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QFile>
#include <QFileInfo>
#include <QNetworkAccessManager>
#include <QRegularExpression>
#include <QSslCertificate>
#include <QSslConfiguration>

#include <cstdio>

using namespace Qt::Literals::StringLiterals;

namespace {

constexpr double kibPerMib = 1024.0;

double peakResidentMib()
{
    QFile status(u"/proc/self/status"_s);
    if (!status.open(QIODevice::ReadOnly)) {
        return -1.0;
    }
    static const QRegularExpression pattern(u"VmHWM:\\s+(\\d+) kB"_s);
    return pattern.match(QString::fromLatin1(status.readAll())).captured(1).toDouble() / kibPerMib;
}

void report(const char *what, qint64 bytes, qint64 ms)
{
    const double mib = static_cast<double>(bytes) / kibPerMib / kibPerMib;
    const double seconds = static_cast<double>(ms > 0 ? ms : 1) / 1000.0;
    std::printf("%s %.0f MiB: peak %.1f MiB resident, %.1f s, %.0f MiB/s\n", what, mib, peakResidentMib(), seconds,
                mib / seconds);
}

int download(const QUrl &url, const QString &destination, const QString &sha256)
{
    QFile authority(u":/certificates/authority.pem"_s);
    if (!authority.open(QIODevice::ReadOnly)) {
        return 1;
    }
    QSslConfiguration trust = QSslConfiguration::defaultConfiguration();
    trust.addCaCertificate(QSslCertificate(&authority));
    QSslConfiguration::setDefaultConfiguration(trust);

    QNetworkAccessManager network;
    velmo::DownloadClient client(&network);
    QElapsedTimer clock;
    QObject::connect(&client, &velmo::DownloadClient::finished, &client, [&] {
        report("download", QFileInfo(destination).size(), clock.elapsed());
        QCoreApplication::exit(0);
    });
    QObject::connect(&client, &velmo::DownloadClient::failed, &client,
                     [](const QString &, const QString &detail, bool) {
                         std::fprintf(stderr, "%s\n", qPrintable(detail));
                         QCoreApplication::exit(1);
                     });
    clock.start();
    client.start(url, destination, 0, sha256);
    return QCoreApplication::exec();
}

int verify(const QString &path, const QString &sha256)
{
    const QFileInfo info(path);
    velmo::Manifest manifest;
    manifest.files.append({info.fileName(), sha256, info.size(), {}, false});
    velmo::VerificationManager verification;
    QElapsedTimer clock;
    QObject::connect(&verification, &velmo::VerificationManager::finished, &verification,
                     [&](const velmo::VerificationResult &result) {
                         report("verify", result.bytesChecked, clock.elapsed());
                         QCoreApplication::exit(result.filesNeedingRepair().isEmpty() ? 0 : 1);
                     });
    clock.start();
    verification.verify(manifest, info.absolutePath());
    return QCoreApplication::exec();
}

} // namespace

int main(int argc, char **argv)
{
    QCoreApplication app(argc, argv);
    const QStringList arguments = QCoreApplication::arguments();
    if (arguments.size() == 5 && arguments.at(1) == "download"_L1) {
        return download(QUrl(arguments.at(2)), arguments.at(3), arguments.at(4));
    }
    if (arguments.size() == 4 && arguments.at(1) == "verify"_L1) {
        return verify(arguments.at(2), arguments.at(3));
    }
    std::fprintf(stderr, "usage: velmo-bench-transfer download URL FILE SHA256 | verify FILE SHA256\n");
    return 2;
}
