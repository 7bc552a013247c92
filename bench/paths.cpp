// The six paths that the launcher's speed hangs on, one in each run, for bench/instructions to count. Nothing in them
// depends on time, on the network or on what else the machine does.

#include "Counted.h"

#include "data/NewsArticle.h"
#include "game/InstallManager.h"
#include "game/UpdateManager.h"
#include "game/VerificationManager.h"
#include "net/DownloadClient.h"
#include "pages/ArticleBody.h"
#include "theme/Theme.h"
#include "widgets/HeroBanner.h"

#include <QApplication>
#include <QCryptographicHash>
#include <QImage>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QNetworkAccessManager>
#include <QNetworkReply>
#include <QPainter>
#include <QTemporaryDir>
#include <QTimer>
#include <QVBoxLayout>

#include <cstdio>

using namespace Qt::Literals::StringLiterals;
using velmo::Manifest;
using velmo::bench::Counted;

namespace {

bool writeFile(const QString &path, const QByteArray &bytes)
{
    QFile file(path);
    return file.open(QIODevice::WriteOnly) && file.write(bytes) == bytes.size();
}

QString sha256(const QByteArray &bytes)
{
    return QString::fromLatin1(QCryptographicHash::hash(bytes, QCryptographicHash::Sha256).toHex());
}

/// Build \a number of files that hold \a content each. Of the first build's files, the second has a half.
QByteArray manifestJson(int number, int files, const QByteArray &content)
{
    QJsonArray list;
    for (int index = 0; index < files; ++index) {
        const bool changed = number > 1 && index % 2 == 0;
        list.append(QJsonObject{{u"path"_s, u"Chapter %1/asset_%2.pak"_s.arg(index / 1000).arg(index)},
                                {u"sha256"_s, changed ? QString(64, u'f') : sha256(content)},
                                {u"size"_s, content.size()}});
    }
    const QJsonObject manifest{{u"version"_s, u"1.0"_s}, {u"build"_s, number}, {u"files"_s, list}};
    return QJsonDocument(manifest).toJson(QJsonDocument::Compact);
}

Manifest readManifest(const QByteArray &json)
{
    return Manifest::fromJson(QJsonDocument::fromJson(json).object(), nullptr);
}

/// A check for updates: both manifests read and compared.
bool checkForUpdate()
{
    constexpr int files = 10'000;
    const QByteArray installed = manifestJson(1, files, "game");
    const QByteArray latest = manifestJson(2, files, "game");
    const Counted counted;
    return velmo::UpdateManager::changedFiles(readManifest(installed), readManifest(latest)).size() == files / 2;
}

/// The record of a long build, written and read again.
bool keepRecord()
{
    constexpr int files = 10'000;
    const QTemporaryDir folder;
    velmo::InstallManager install;
    install.setInstallRoot(folder.path());
    const Manifest manifest = readManifest(manifestJson(1, files, "game"));
    const Counted counted;
    return install.commitInstalledManifest(manifest) && install.loadInstalledManifest().files.size() == files;
}

/// A thousand small files and a large one, verified on the thread that does it.
bool verify()
{
    constexpr int files = 1'000;
    const QByteArray content(1024, 'v');
    const QByteArray large(qsizetype{1024} * 1024, 'v');
    const QTemporaryDir folder;
    Manifest manifest = readManifest(manifestJson(1, files, content));
    QDir(folder.path()).mkpath(u"Chapter 0"_s);
    for (const velmo::ManifestFile &file : std::as_const(manifest.files)) {
        if (!writeFile(folder.filePath(file.path), content)) {
            return false;
        }
    }
    velmo::ManifestFile last = manifest.files.constFirst();
    last.path = u"large.pak"_s;
    last.size = large.size();
    last.sha256 = sha256(large);
    manifest.files.append(last);
    if (!writeFile(folder.filePath(last.path), large)) {
        return false;
    }
    velmo::VerificationManager verification;
    bool sound = false;
    QObject::connect(&verification, &velmo::VerificationManager::finished, &verification,
                     [&sound](const velmo::VerificationResult &result) {
                         sound = result.filesChecked == files + 1 && result.filesNeedingRepair().isEmpty();
                         QCoreApplication::quit();
                     });
    const Counted counted;
    verification.verify(manifest, folder.path());
    QCoreApplication::exec();
    return sound;
}

/// A reply whose body arrives in pieces, one in each turn of the event loop. They are small, since what is done for
/// each would else vanish beside the hash.
class Body : public QNetworkReply {
public:
    Body(const QNetworkRequest &request, qint64 size)
        : left_(size)
    {
        setRequest(request);
        setUrl(request.url());
        setAttribute(QNetworkRequest::HttpStatusCodeAttribute, 200);
        open(QIODevice::ReadOnly | QIODevice::Unbuffered);
        connect(&turn_, &QTimer::timeout, this, &Body::bring);
        turn_.start(0);
    }

    void abort() override { turn_.stop(); }
    qint64 bytesAvailable() const override { return here_; }

protected:
    qint64 readData(char *data, qint64 most) override
    {
        const qint64 count = std::min(most, here_);
        std::fill_n(data, count, 'v');
        here_ -= count;
        return count;
    }

private:
    void bring()
    {
        constexpr qint64 pieceBytes = 512;
        const qint64 count = std::min(left_, pieceBytes);
        left_ -= count;
        here_ += count;
        if (count > 0) {
            emit readyRead();
        } else {
            turn_.stop();
            setFinished(true);
            emit finished();
        }
    }

    QTimer turn_;
    qint64 left_; ///< to arrive
    qint64 here_ = 0;
};

class Network : public QNetworkAccessManager {
public:
    explicit Network(qint64 size)
        : size_(size)
    {}

protected:
    QNetworkReply *createRequest(Operation /*operation*/, const QNetworkRequest &request, QIODevice * /*body*/) override
    {
        return new Body(request, size_);
    }

private:
    qint64 size_;
};

/// A file from its first byte to its place, its hash checked. What Qt and TLS do on the line is not ours to count.
bool download()
{
    constexpr qint64 size = qint64{2} * 1024 * 1024;
    const QTemporaryDir folder;
    const QString hash = sha256(QByteArray(size, 'v'));
    Network network(size);
    velmo::DownloadClient client(&network);
    bool whole = false;
    QObject::connect(&client, &velmo::DownloadClient::finished, &client, [&whole] {
        whole = true;
        QCoreApplication::quit();
    });
    QObject::connect(&client, &velmo::DownloadClient::failed, &client, [](const QString &, const QString &detail) {
        std::fprintf(stderr, "%s\n", qPrintable(detail));
        QCoreApplication::quit();
    });
    const Counted counted;
    client.start(QUrl(u"https://127.0.0.1/game.pak"_s), folder.filePath(u"game.pak"_s), size, hash);
    QCoreApplication::exec();
    return whole;
}

/// A news feed, its longest article taken apart and laid out.
bool readNews()
{
    QJsonArray articles;
    QString body;
    for (int line = 0; line < 100; ++line) {
        body += u"## A heading\nA line of the story, as long as they are.\nAnd the next.\n- a point\n\n"_s;
        articles.append(
            QJsonObject{{u"title"_s, u"Article %1"_s.arg(line)}, {u"date"_s, u"2026-03-14"_s}, {u"body"_s, body}});
    }
    const QByteArray json = QJsonDocument(QJsonObject{{u"articles"_s, articles}}).toJson();
    QWidget page;
    page.resize(760, 600);
    auto *column = new QVBoxLayout(&page);
    velmo::ArticleBody article(column);
    const Counted counted;
    const QList<velmo::NewsArticle> feed = velmo::parseNewsFeed(json, nullptr);
    if (feed.size() != articles.size()) {
        return false;
    }
    article.setBlocks(feed.constFirst().blocks());
    return page.grab().width() > 0 && column->count() > 0;
}

/// The art behind the home page as after a change of the window's size, and then ten frames with it.
bool paintHero()
{
    constexpr int frames = 10;
    velmo::HeroBanner hero;
    hero.resize(1400, 850);
    QImage image(hero.size(), QImage::Format_ARGB32_Premultiplied);
    const Counted counted;
    for (int frame = 0; frame < frames; ++frame) {
        hero.render(&image);
    }
    return qAlpha(image.pixel(image.rect().center())) == 255;
}

struct Path {
    const char *name;
    bool (*run)();
};

constexpr Path paths[] = {
    {"check", checkForUpdate}, {"record", keepRecord}, {"verify", verify},
    {"download", download},    {"news", readNews},     {"hero", paintHero},
};

} // namespace

int main(int argc, char **argv)
{
    const QApplication application(argc, argv);
    const QString name = QApplication::arguments().value(1);
    if (name == "toolchain"_L1) {
        std::printf("Qt %s, compiler %s\n", qVersion(), __VERSION__);
        return 0;
    }
    for (const Path &path : paths) {
        if (name == QLatin1StringView(path.name)) {
            velmo::theme::Theme::apply();
            return path.run() ? 0 : 1;
        }
    }
    std::fputs("usage: velmo-bench-paths toolchain | check | record | verify | download | news | hero\n", stderr);
    return 2;
}
