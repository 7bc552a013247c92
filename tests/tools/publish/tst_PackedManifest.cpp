#include "net/ApiClient.h"
#include "publish/ContentTree.h"
#include "publish/LiveServer.h"
#include "support/TestEnvironment.h"
#include "support/TestFiles.h"
#include "support/TestStudio.h"

#include <QCryptographicHash>
#include <QElapsedTimer>

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

int main(int argc, char **argv)
{
    return velmo::test::runTest<tst_PackedManifest>(argc, argv);
}

#include "tst_PackedManifest.moc"
