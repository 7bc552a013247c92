// The launcher's engine with a stop watch, and beside each measurement what else could do the same work: scripts/bench
// sets the ratios up. Every mode prints one line of "name value" pairs.

#include "Turns.h"

#include "game/DownloadManager.h"
#include "game/InstallManager.h"
#include "game/VerificationManager.h"
#include "net/DownloadClient.h"

#include <QCoreApplication>
#include <QCryptographicHash>
#include <QDir>
#include <QElapsedTimer>
#include <QEventLoop>
#include <QFile>
#include <QFileInfo>
#include <QJsonDocument>
#include <QJsonObject>
#include <QNetworkAccessManager>
#include <QNetworkReply>
#include <QSslCertificate>
#include <QSslConfiguration>

#include <algorithm>
#include <cstdio>
#include <memory>
#include <optional>

using namespace Qt::Literals::StringLiterals;

namespace {

constexpr qint64 blockBytes = qint64{1024} * 1024;          // what the launcher reads at once
constexpr qint64 readBufferBytes = qint64{4} * 1024 * 1024; // and what it lets wait on the line

double seconds(const QElapsedTimer &clock)
{
    return static_cast<double>(clock.nsecsElapsed()) / 1e9;
}

velmo::Manifest readManifest(const QString &folder)
{
    QFile file(QDir(folder).filePath(u"manifest.json"_s));
    QString error = u"cannot be opened"_s;
    velmo::Manifest manifest;
    if (file.open(QIODevice::ReadOnly)) {
        manifest = velmo::Manifest::fromJson(QJsonDocument::fromJson(file.readAll()).object(), &error);
    }
    if (!manifest.valid) {
        qFatal("%s: %s", qPrintable(file.fileName()), qPrintable(error));
    }
    return manifest;
}

void trustTheLoopbackAuthority()
{
    QFile authority(u":/certificates/authority.pem"_s);
    if (!authority.open(QIODevice::ReadOnly)) {
        qFatal("The certificates are missing.");
    }
    QSslConfiguration trust = QSslConfiguration::defaultConfiguration();
    trust.addCaCertificate(QSslCertificate(&authority));
    QSslConfiguration::setDefaultConfiguration(trust);
}

/// SHA-256 of \a mib MiB that never leave the cache, and the longest block of it.
int hash(int mib)
{
    const QByteArray block(blockBytes, 'v');
    QCryptographicHash hash(QCryptographicHash::Sha256);
    double longest = 0;
    QElapsedTimer clock;
    clock.start();
    for (int i = 0; i < mib; ++i) {
        const double begin = seconds(clock);
        hash.addData(block);
        longest = std::max(longest, seconds(clock) - begin);
    }
    std::printf("seconds %.4f longest %.5f\n", seconds(clock), longest);
    return 0;
}

int verify(const QString &folder)
{
    const velmo::Manifest manifest = readManifest(folder);
    velmo::VerificationManager verification;
    const velmo::bench::Turns turns;
    QElapsedTimer clock;
    QObject::connect(&verification, &velmo::VerificationManager::finished, &verification,
                     [&](const velmo::VerificationResult &result) {
                         std::printf("seconds %.4f turn %.5f\n", seconds(clock), turns.longest());
                         QCoreApplication::exit(result.filesNeedingRepair().isEmpty() ? 0 : 1);
                     });
    clock.start();
    verification.verify(manifest, folder);
    return QCoreApplication::exec();
}

/// The plainest way to hash the same files.
int plain(const QString &folder)
{
    const velmo::Manifest manifest = readManifest(folder);
    QElapsedTimer clock;
    clock.start();
    QByteArray block(blockBytes, Qt::Uninitialized);
    for (const velmo::ManifestFile &entry : manifest.files) {
        QFile file(folder + u'/' + entry.path);
        QCryptographicHash hash(QCryptographicHash::Sha256);
        if (!file.open(QIODevice::ReadOnly | QIODevice::Unbuffered)) {
            return 1;
        }
        while (const qint64 count = file.read(block.data(), block.size())) {
            if (count < 0) {
                return 1;
            }
            hash.addData(QByteArrayView(block.constData(), count));
        }
        if (hash.result().toHex() != entry.sha256.toLatin1()) {
            return 1;
        }
    }
    std::printf("seconds %.4f\n", seconds(clock));
    return 0;
}

/// A download job as the launcher runs it. The line's share of it ends with each file's last byte.
int job(const QString &folder, const QUrl &url, const QString &into)
{
    const velmo::Manifest manifest = readManifest(folder);
    QNetworkAccessManager network;
    velmo::DownloadManager manager(&network);
    const velmo::bench::Turns turns;
    QElapsedTimer clock;
    QObject::connect(&manager, &velmo::DownloadManager::finished, &manager, [&] {
        std::printf("seconds %.4f turn %.5f\n", seconds(clock), turns.longest());
        QCoreApplication::exit(0);
    });
    QObject::connect(&manager, &velmo::DownloadManager::failed, &manager, [](const QString &, const QString &detail) {
        std::fprintf(stderr, "%s\n", qPrintable(detail));
        QCoreApplication::exit(1);
    });
    clock.start();
    manager.start(manifest.files, into, url);
    return QCoreApplication::exec();
}

/// Each file by the launcher's client, timed to its last byte: what follows is the check of its hash, whose longest
/// turn is told.
int line(const QString &folder, const QUrl &url, const QString &into)
{
    const velmo::Manifest manifest = readManifest(folder);
    QNetworkAccessManager network;
    velmo::DownloadClient client(&network);
    double sum = 0;
    double turn = 0;
    for (const velmo::ManifestFile &entry : manifest.files) {
        QElapsedTimer clock;
        double lastByte = 0;
        std::optional<velmo::bench::Turns> turns;
        QEventLoop loop;
        const QObject context;
        QObject::connect(&client, &velmo::DownloadClient::progress, &context, [&](qint64 received) {
            lastByte = seconds(clock);
            if (received == entry.size) {
                turns.emplace();
            }
        });
        QObject::connect(&client, &velmo::DownloadClient::finished, &context, [&] {
            turn = std::max(turn, turns ? turns->longest() : 0);
            loop.exit(0);
        });
        QObject::connect(&client, &velmo::DownloadClient::failed, &context, [&] { loop.exit(1); });
        clock.start();
        client.start(url.resolved(QUrl(entry.path)), into + u'/' + entry.path, entry.size, entry.sha256);
        if (loop.exec() != 0) {
            return 1;
        }
        sum += lastByte;
    }
    std::printf("seconds %.4f turn %.5f\n", sum, turn);
    return 0;
}

/// The same files by nothing but Qt's client, one after the other, its buffer bounded as the launcher's and thrown
/// away.
int fetch(const QString &folder, const QUrl &url)
{
    const velmo::Manifest manifest = readManifest(folder);
    QNetworkAccessManager network;
    QByteArray sink(readBufferBytes, Qt::Uninitialized);
    QElapsedTimer clock;
    clock.start();
    for (const velmo::ManifestFile &entry : manifest.files) {
        QNetworkRequest request(url.resolved(QUrl(entry.path)));
        request.setAttribute(QNetworkRequest::Http2AllowedAttribute, false);
        const std::unique_ptr<QNetworkReply> reply(network.get(request));
        reply->setReadBufferSize(readBufferBytes);
        qint64 received = 0;
        const auto drain = [&] {
            while (const qint64 count = reply->read(sink.data(), sink.size())) {
                received += std::max<qint64>(count, 0);
                if (count < 0) {
                    return;
                }
            }
        };
        QEventLoop loop;
        QObject::connect(reply.get(), &QNetworkReply::readyRead, &loop, drain);
        QObject::connect(reply.get(), &QNetworkReply::finished, &loop, &QEventLoop::quit);
        loop.exec();
        drain();
        if (received != entry.size) {
            std::fprintf(stderr, "%s: %s\n", qPrintable(entry.path), qPrintable(reply->errorString()));
            return 1;
        }
    }
    std::printf("seconds %.4f\n", seconds(clock));
    return 0;
}

/// What each change of state asks of the record in \a folder, against a look at its file.
int record(const QString &folder)
{
    constexpr int rounds = 50;
    velmo::InstallManager install;
    install.setInstallRoot(folder);
    const auto ask = [&install] {
        return install.hasInstalledManifest() && install.loadInstalledManifest().valid &&
               !QFile::exists(install.executablePath());
    };
    QElapsedTimer clock;
    clock.start();
    if (!ask()) {
        return 1;
    }
    const double first = seconds(clock);
    clock.start();
    for (int round = 0; round < rounds; ++round) {
        if (!ask()) {
            return 1;
        }
    }
    const double each = seconds(clock) / rounds;
    const QString path = install.metadataDir() + u"/installed.json"_s;
    clock.start();
    for (int round = 0; round < rounds; ++round) {
        if (!QFileInfo(path).isFile()) {
            return 1;
        }
    }
    std::printf("first %.6f seconds %.6f look %.6f\n", first, each, seconds(clock) / rounds);
    return 0;
}

int usage()
{
    std::fputs(
        "usage: velmo-bench-engine hash MIB | verify FOLDER | plain FOLDER | record FOLDER | job FOLDER URL INTO |\n"
        "       line FOLDER URL INTO | fetch FOLDER URL      FOLDER holds manifest.json; URL ends in a slash\n",
        stderr);
    return 2;
}

} // namespace

int main(int argc, char **argv)
{
    QCoreApplication app(argc, argv);
    trustTheLoopbackAuthority();
    const QStringList words = QCoreApplication::arguments().mid(1);
    const auto is = [&words](QStringView mode, int count) { return words.value(0) == mode && words.size() == count; };
    if (is(u"hash", 2)) {
        return hash(words.at(1).toInt());
    }
    if (is(u"verify", 2)) {
        return verify(words.at(1));
    }
    if (is(u"plain", 2)) {
        return plain(words.at(1));
    }
    if (is(u"record", 2)) {
        return record(words.at(1));
    }
    if (is(u"job", 4)) {
        return job(words.at(1), QUrl(words.at(2)), words.at(3));
    }
    if (is(u"line", 4)) {
        return line(words.at(1), QUrl(words.at(2)), words.at(3));
    }
    if (is(u"fetch", 3)) {
        return fetch(words.at(1), QUrl(words.at(2)));
    }
    return usage();
}
