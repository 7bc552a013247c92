// What a server answers to the download of a file, byte by byte; Peer.h says how. Two bytes stand before the replies:
// how much of the file lies there from an earlier attempt (its highest bit makes that other bytes), and what the
// manifest says of the size (a multiple of three: the truth, else nothing, else something wrong).

#include "Peer.h"
#include "Target.h"
#include "net/DownloadClient.h"

#include <QCryptographicHash>
#include <QDir>
#include <QEventLoop>
#include <QFileInfo>
#include <QNetworkAccessManager>

#include <algorithm>

using namespace Qt::Literals::StringLiterals;
using velmo::fuzz::readFile;
using velmo::fuzz::require;

namespace {

const QByteArray gameFile = "velmo studio: game file\n";
const QByteArray oldFile = "what the last build had";

/// The scene that the first two bytes of an input set.
struct Scene {
    QByteArray partFile;
    qint64 expectedSize = 0;
};

Scene sceneOf(const QByteArray &input)
{
    const int lengthByte = input.isEmpty() ? 0 : static_cast<unsigned char>(input.at(0));
    const int sizeByte = input.size() < 2 ? 0 : static_cast<unsigned char>(input.at(1));
    Scene scene;
    scene.partFile = QByteArray(gameFile + "and more than the file has").left(lengthByte & 0x1f);
    if ((lengthByte & 0x80) != 0) {
        std::reverse(scene.partFile.begin(), scene.partFile.end());
    }
    const qint64 wrong = 7;
    scene.expectedSize = sizeByte % 3 == 0 ? gameFile.size() : sizeByte % 3 == 1 ? 0 : wrong;
    return scene;
}

void checkFailure(const QString &message, const QString &detail)
{
    require(message.endsWith(u'.'), "a failure has a sentence for the player");
    require(!detail.isEmpty(), "a failure has a text for the log");
}

/// What is left on the disk when a download has come to its end.
void checkFolder(const QString &folder, const Scene &scene, bool succeeded)
{
    const QString destination = QDir(folder).filePath(u"game.pak"_s);
    const QStringList names = QDir(folder).entryList(QDir::AllEntries | QDir::Hidden | QDir::NoDotAndDotDot);
    if (succeeded) {
        require(readFile(destination) == gameFile, "a file that stands in its place is the one that was asked for");
        require(names == QStringList{u"game.pak"_s}, "a finished download leaves nothing beside the file");
        require(scene.expectedSize == 0 || scene.expectedSize == gameFile.size(), "the size is looked at");
        return;
    }
    require(readFile(destination) == oldFile, "a download that fails leaves the old file as it was");
    require(names == QStringList{u"game.pak"_s} || names == QStringList({u"game.pak"_s, u"game.pak.part"_s}),
            "a download writes to its part file alone");
}

} // namespace

void velmo::fuzz::feed(const QByteArray &input)
{
    makeApplication();
    static Peer peer;
    peer.setReplies(parts(input.mid(2)));
    const Scene scene = sceneOf(input);
    const QString folder = scratchFolder() + u"/game"_s;
    const QString destination = folder + u"/game.pak"_s;
    writeFile(destination, oldFile);
    writeFile(destination + u".part"_s, scene.partFile);

    QNetworkAccessManager network;
    DownloadClient client(&network);
    QEventLoop loop;
    int finished = 0;
    int failed = 0;
    QObject::connect(&client, &DownloadClient::progress, &loop, [&](qint64 received, qint64 total) {
        require(received == QFileInfo(destination + u".part"_s).size(), "progress tells the bytes on disk");
        require(total >= 0, "no total is negative");
    });
    QObject::connect(&client, &DownloadClient::finished, &loop, [&] {
        ++finished;
        loop.quit();
    });
    QObject::connect(&client, &DownloadClient::failed, &loop, [&](const QString &message, const QString &detail) {
        checkFailure(message, detail);
        ++failed;
        loop.quit();
    });
    const QByteArray hash = QCryptographicHash::hash(gameFile, QCryptographicHash::Sha256).toHex();
    client.start(peer.url(u"/game.pak"_s), destination, scene.expectedSize, QString::fromLatin1(hash));
    if (finished + failed == 0) {
        loop.exec(); // a download without an outcome is what libFuzzer's -timeout finds
    }
    QCoreApplication::processEvents();
    require(finished + failed == 1, "a download has one outcome");
    checkFolder(folder, scene, finished == 1);
}
