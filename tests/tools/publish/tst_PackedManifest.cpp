#include "net/ApiClient.h"
#include "publish/ContentTree.h"
#include "publish/LiveServer.h"
#include "support/TestEnvironment.h"
#include "support/TestFiles.h"
#include "support/TestStudio.h"
#include "tools/publish/PublishFixture.h"

#include <QCryptographicHash>
#include <QtEndian>

using namespace Qt::Literals::StringLiterals;
using velmo::ApiResult;
using velmo::Manifest;
using velmo::ManifestFile;
using velmo::test::TestStudio;

/// The manifest as the launcher's own client fetches it, packed.
class tst_PackedManifest : public QObject {
    Q_OBJECT

private slots:
    void launcherTakesItAsItIs_data();
    void launcherTakesItAsItIs();
    void launcherTakesWhatItOffers_data();
    void launcherTakesWhatItOffers();
};

namespace {

ManifestFile fileOf(const QString &sha256, qsizetype number)
{
    return {u"Content/Paks/mesh_%1.uasset"_s.arg(number, 7, 10, QLatin1Char('0')), sha256, 4096,
            velmo::publish::TreeLayout::contentUrl(sha256), false};
}

ManifestFile ownFile(qsizetype number)
{
    const QByteArray hash = QCryptographicHash::hash(QByteArray::number(number), QCryptographicHash::Sha256);
    return fileOf(QString::fromLatin1(hash.toHex()), number);
}

ManifestFile equalFile(qsizetype number)
{
    return fileOf(QString(64, u'e'), number);
}

Manifest smallHeader()
{
    Manifest header;
    header.version = u"1.0"_s;
    header.build = 1;
    return header;
}

/// One block of a Zstandard frame, as it is.
QByteArray zstandardOf(const QByteArray &bytes)
{
    const auto size = static_cast<quint32>(bytes.size());
    QByteArray frame = QByteArray::fromHex("28b52ffda0") + QByteArray(7, '\0');
    qToLittleEndian<quint32>(size, frame.data() + 5);
    qToLittleEndian<quint16>(static_cast<quint16>(size << 3 | 1), frame.data() + 9);
    return frame + bytes;
}

} // namespace

void tst_PackedManifest::launcherTakesItAsItIs_data()
{
    QTest::addColumn<qsizetype>("count");
    QTest::addColumn<std::function<ManifestFile(qsizetype)>>("at");
    // Above 10 MiB Qt looks at how far a reply unpacks. Of a list of equal files it would be 70 times.
    QTest::newRow("files of their own") << qsizetype{60'000} << std::function(ownFile);
    QTest::newRow("equal files") << qsizetype{60'000} << std::function(equalFile);
}

void tst_PackedManifest::launcherTakesItAsItIs()
{
    QFETCH(const qsizetype, count);
    QFETCH(const std::function<ManifestFile(qsizetype)>, at);
    TestStudio studio;
    const velmo::publish::ContentTree tree(studio.root(), u"harrowfen"_s);
    QCOMPARE(tree.writeManifest(smallHeader(), {count, at}), QString());
    const qint64 size = QFileInfo(tree.manifestPath(u"release"_s)).size();
    const qint64 packed = QFileInfo(tree.packedManifestPath(u"release"_s)).size();
    QVERIFY2(size > qint64{10} * 1024 * 1024 && packed < size / 4, QByteArray::number(packed).constData());

    velmo::publish::LiveRequest head{studio.url(u"/harrowfen/release/manifest.json"_s), "HEAD"_ba};
    QCOMPARE(velmo::publish::LiveServer({}).answerTo(head).header("Content-Encoding"), QByteArray("gzip"));

    velmo::ApiClient client;
    std::optional<ApiResult> result;
    client.getJson(studio.url(u"/harrowfen/release/manifest.json"_s).toString(),
                   [&result](const ApiResult &answer) { result = answer; });
    QVERIFY(QTest::qWaitFor([&result] { return result.has_value(); }, 120'000));
    QVERIFY2(result->ok, qPrintable(result->detail));
    QString error;
    const Manifest manifest = Manifest::fromJson(result->data, &error);
    QVERIFY2(manifest.valid, qPrintable(error));
    QCOMPARE(manifest.files.size(), count);
    QCOMPARE(manifest.files.constLast().sha256, at(count - 1).sha256);
}

void tst_PackedManifest::launcherTakesWhatItOffers_data()
{
    QTest::addColumn<QByteArray>("encoding");
    QTest::addColumn<QByteArray>("body");
    QTest::addColumn<bool>("onWindows");
    const QByteArray json = R"({"version":"1.0"})";
    QTest::newRow("deflate") << "deflate"_ba << qCompress(json).sliced(4) << true;
    QTest::newRow("br") << "br"_ba << velmo::test::brotliOf(json) << false;
    QTest::newRow("zstd") << "zstd"_ba << zstandardOf(json) << false;
}

void tst_PackedManifest::launcherTakesWhatItOffers()
{
    QFETCH(const QByteArray, encoding);
    QFETCH(const QByteArray, body);
    QFETCH(bool, onWindows);
#ifdef Q_OS_WIN
    const bool isTaken = onWindows;
#else
    Q_UNUSED(onWindows)
    const bool isTaken = true;
#endif
    TestStudio studio;
    const QString path = u"/manifest.json"_s;
    studio.server().setDocument(path, body);
    velmo::studio::Fault header;
    header.kind = velmo::studio::Fault::Header;
    header.location = u"Content-Encoding: "_s + QString::fromLatin1(encoding);
    studio.server().addFault(path, header);
    velmo::ApiClient client;
    std::optional<ApiResult> result;
    client.getJson(studio.url(path).toString(), [&result](const ApiResult &answer) { result = answer; });
    QTRY_VERIFY(result.has_value());
    const QByteArray offered = studio.server().requests(path).first().headers.value("accept-encoding");
    QVERIFY2(offered.contains(encoding) == isTaken && offered.contains("gzip"), offered.constData());
    QVERIFY2(result->ok == isTaken, qPrintable(result->detail));
    QCOMPARE(result->data.value("version"_L1).toString(), isTaken ? u"1.0"_s : QString());
}

int main(int argc, char **argv)
{
    return velmo::test::runTest<tst_PackedManifest>(argc, argv);
}

#include "tst_PackedManifest.moc"
