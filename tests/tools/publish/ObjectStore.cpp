#include "tools/publish/ObjectStore.h"

#include "publish/Gzip.h"
#include "support/TestFiles.h"
#include "tools/publish/PushRun.h"

#include <QDir>
#include <QDirIterator>
#include <QEventLoop>
#include <QNetworkAccessManager>
#include <QNetworkReply>

#include <optional>

using namespace Qt::Literals::StringLiterals;

namespace velmo::test {

namespace {

constexpr int startMs = 120000;
constexpr qint64 mostManifestBytes = 1'000'000;

QByteArray section(const QByteArray &name, quint16 port)
{
    return '[' + name +
           "]\ntype = s3\nprovider = Other\naccess_key_id = tester:tester\nsecret_access_key = testing\n"
           "force_path_style = true\nendpoint = http://127.0.0.1:" +
           QByteArray::number(port) + "\n\n";
}

} // namespace

ObjectStore::ObjectStore()
{
    process_.setStandardErrorFile(folder_.filePath(u"errors"_s));
    process_.start(QStringLiteral(VELMO_S3_SERVER), {folder_.filePath(u"store"_s)});
    while (!process_.canReadLine() && process_.waitForReadyRead(startMs)) {
    }
    port_ = process_.readLine().trimmed().toUShort();
    if (port_ == 0) {
        problem_ = u"The store does not start: "_s + QString::fromUtf8(readFile(folder_.filePath(u"errors"_s)));
        return;
    }
    relay_.setTarget(port_);
    writeFile(folder_.filePath(u"rclone.conf"_s), section("store", port_) + section("relayed", relay_.port()));
    rcloneOutput({u"mkdir"_s, u"--s3-bucket-acl=public-read"_s, u"store:games"_s}, environment());
}

ObjectStore::~ObjectStore()
{
    process_.closeWriteChannel();
    process_.waitForFinished();
}

QProcessEnvironment ObjectStore::environment() const
{
    return pushEnvironment(folder_.filePath(u"rclone.conf"_s));
}

QUrl ObjectStore::address() const
{
    return QUrl(u"http://127.0.0.1:%1/v1/AUTH_tester/games/content/"_s.arg(port_));
}

QByteArray ObjectStore::header(const QString &path, const QByteArray &name) const
{
    QNetworkAccessManager network;
    QNetworkReply *const reply = network.head(QNetworkRequest(address().resolved(QUrl(path))));
    QEventLoop loop;
    QObject::connect(reply, &QNetworkReply::finished, &loop, &QEventLoop::quit);
    loop.exec();
    return reply->error() == QNetworkReply::NoError ? reply->rawHeader(name) : "404";
}

QByteArray ObjectStore::bytes(const QString &path) const
{
    QNetworkAccessManager network;
    QNetworkReply *const reply = network.get(QNetworkRequest(address().resolved(QUrl(path))));
    QEventLoop loop;
    QObject::connect(reply, &QNetworkReply::finished, &loop, &QEventLoop::quit);
    loop.exec();
    return reply->readAll();
}

void ObjectStore::download(const QString &folder) const
{
    QDir(folder).removeRecursively();
    QDir().mkpath(folder);
    rcloneOutput({u"copy"_s, remote(), folder}, environment());
    QDirIterator manifests(folder, {u"manifest.json"_s}, QDir::Files, QDirIterator::Subdirectories);
    while (manifests.hasNext()) {
        const QString path = manifests.next();
        if (const std::optional<QByteArray> text = publish::unpack(readFile(path), mostManifestBytes)) {
            writeFile(path, *text);
        }
    }
}

} // namespace velmo::test
