#include "publish/Gzip.h"
#include "publish/ProvedPieces.h"
#include "support/TestEnvironment.h"
#include "tools/publish/PublishFixture.h"

#include <QBuffer>

#include <atomic>

using namespace Qt::Literals::StringLiterals;
using velmo::Manifest;
using velmo::publish::ContentTree;
using velmo::publish::ManifestFiles;
using velmo::publish::ManifestText;
using velmo::publish::PackedPart;
using velmo::publish::ProvedPaths;
using velmo::publish::ProvedPieces;
using velmo::test::contentOf;
using velmo::test::PublishFixture;
using velmo::test::writeFile;

/// What is known of a manifest that was put in place, and what becomes of it.
class tst_ProvedPieces : public QObject {
    Q_OBJECT

private slots:
    void piecesAreKnownAsTheyStand();
    void pieceThatDoesNotStandIsNot_data();
    void pieceThatDoesNotStandIsNot();
    void manifestOfAnotherSizeIsNotKnown();
    void listOfNoUseKnowsNothing();
    void listThatDoesNotFitIsNamedAndGone();

    void headerOfTheSameFilesIsTold_data();
    void headerOfTheSameFilesIsTold();
    void headerOfOtherFilesIsNot_data();
    void headerOfOtherFilesIsNot();
    void headerOfADamagedManifestIsNot();

    void nextManifestIsTheSameWithThePiecesAsWithout_data();
    void nextManifestIsTheSameWithThePiecesAsWithout();
    void pieceThatStandsIsNotMadeAnew();
    void endsOfAManifestAreReadByTheParserAllTheSame_data();
    void endsOfAManifestAreReadByTheParserAllTheSame();
};

namespace {

constexpr int filesOfThreePieces = 2500;

Manifest manifestOf(int files)
{
    Manifest manifest;
    manifest.version = u"1.0"_s;
    manifest.build = 7;
    manifest.released = QDateTime::fromString(u"2026-03-01T12:00:00Z"_s, Qt::ISODate);
    for (int number = 0; number < files; ++number) {
        const QString sha256 = velmo::test::sha256Of(QByteArray::number(number));
        manifest.files.append(
            {u"Data/%1 ]},{"_s.arg(number), sha256, number, u"../files/x/"_s + sha256, number % 3 == 0});
    }
    manifest.valid = true;
    return manifest;
}

/// A tree with a manifest of three pieces that are known.
struct Standing {
    explicit Standing(int files = filesOfThreePieces)
        : manifest(manifestOf(files))
        , tree(fixture.contentTree())
        , paths(tree.provedPaths(u"release"_s))
    {
        ProvedPieces::Writer proved(paths.list);
        problem = tree.writeManifest(manifest, ManifestFiles::of(manifest), nullptr, &proved);
        if (problem.isEmpty()) {
            problem = proved.finish();
        }
    }

    QByteArray header() const
    {
        const ManifestText text(manifest, ManifestFiles::of(manifest));
        const std::optional<Manifest> found = text.headerOf(ProvedPieces(paths));
        return found && found->files.isEmpty() ? found->version.toUtf8() : "none";
    }

    PublishFixture fixture;
    Manifest manifest;
    ContentTree tree;
    ProvedPaths paths;
    QString problem;
};

void flip(const QString &path, qsizetype at)
{
    QByteArray bytes = contentOf(path);
    bytes[at] = static_cast<char>(bytes.at(at) ^ 1);
    writeFile(path, bytes);
}

} // namespace

void tst_ProvedPieces::piecesAreKnownAsTheyStand()
{
    const Standing standing;
    QCOMPARE(standing.problem, QString());
    const ProvedPieces proved(standing.paths);
    QCOMPARE(proved.count(), 3);
    QByteArray text;
    velmo::publish::GzipFrame frame;
    QByteArray packed = velmo::publish::GzipFrame::begin();
    for (qsizetype number = 0; number < 3; ++number) {
        const std::optional<PackedPart> part = proved.packed(number);
        QVERIFY(part);
        text += proved.text(number).value_or("none");
        packed += part->bytes;
        frame.add(*part);
    }
    QVERIFY(text == contentOf(standing.paths.manifest));
    QVERIFY(packed + frame.end() == contentOf(standing.paths.packed));
}

void tst_ProvedPieces::pieceThatDoesNotStandIsNot_data()
{
    QTest::addColumn<int>("number");
    for (const int number : {0, 1, 2}) {
        QTest::addRow("%d", number) << number;
    }
}

void tst_ProvedPieces::pieceThatDoesNotStandIsNot()
{
    QFETCH(int, number);
    const Standing standing;
    const ProvedPieces proved(standing.paths);
    flip(standing.paths.manifest, contentOf(standing.paths.manifest).size() * (2 * number + 1) / 6);
    flip(standing.paths.packed, contentOf(standing.paths.packed).size() * (2 * number + 1) / 6);
    for (qsizetype other = 0; other < 3; ++other) {
        QCOMPARE(proved.text(other).has_value(), other != number);
        QCOMPARE(proved.packed(other).has_value(), other != number);
    }
    QVERIFY(QFile::remove(standing.paths.manifest));
    QVERIFY(!proved.text(0) && !proved.text(1) && !proved.text(2));
}

void tst_ProvedPieces::manifestOfAnotherSizeIsNotKnown()
{
    const Standing standing;
    writeFile(standing.paths.manifest, contentOf(standing.paths.manifest) + ' ');
    QCOMPARE(ProvedPieces(standing.paths).count(), 0);
}

void tst_ProvedPieces::listOfNoUseKnowsNothing()
{
    const Standing standing(1);
    QCOMPARE(ProvedPieces(standing.paths).count(), 1);
    const QByteArray list = contentOf(standing.paths.list);
    for (qsizetype at = 0; at < list.size(); ++at) {
        flip(standing.paths.list, at);
        QCOMPARE(ProvedPieces(standing.paths).count(), 0);
        writeFile(standing.paths.list, list.first(at));
        QCOMPARE(ProvedPieces(standing.paths).count(), 0);
        writeFile(standing.paths.list, list);
    }
    QCOMPARE(ProvedPieces(standing.paths).count(), 1);
    // One of another version, whole in itself.
    QByteArray other = list.chopped(32);
    other[14] = static_cast<char>(other.at(14) ^ 1);
    writeFile(standing.paths.list, other + QByteArray::fromHex(velmo::test::sha256Of(other).toLatin1()));
    QCOMPARE(ProvedPieces(standing.paths).count(), 0);
}

void tst_ProvedPieces::listThatDoesNotFitIsNamedAndGone()
{
    const Standing standing;
    QVERIFY(QFile::exists(standing.paths.list));
    const QString path = standing.paths.list + u"/below"_s;
    const QString reason = ProvedPieces::Writer(path).finish();
    QVERIFY2(reason.startsWith(u"\"%1\" cannot be written: "_s.arg(path)), qUtf8Printable(reason));
    QVERIFY(!QFile::exists(path));
}

void tst_ProvedPieces::headerOfTheSameFilesIsTold_data()
{
    QTest::addColumn<int>("files");
    for (const int files : {1, 1000, 1001, 2000, 2500}) {
        QTest::addRow("%d", files) << files;
    }
}

void tst_ProvedPieces::headerOfTheSameFilesIsTold()
{
    QFETCH(int, files);
    Standing standing(files);
    standing.manifest.build = 8; // the header of the next one tells nothing
    standing.manifest.version = u"2.0"_s;
    QCOMPARE(standing.header(), "1.0");
}

void tst_ProvedPieces::headerOfOtherFilesIsNot_data()
{
    QTest::addColumn<int>("at"); // behind the last: one more
    QTest::addColumn<QString>("what");
    for (const int at : {0, 1499, 2499}) {
        for (const QString &what : {u"path"_s, u"hash"_s, u"size"_s, u"address"_s, u"run bit"_s, u"gone"_s}) {
            QTest::addRow("%s of %d", qPrintable(what), at) << at << what;
        }
    }
    QTest::addRow("one more") << 2500 << u"more"_s;
}

void tst_ProvedPieces::headerOfOtherFilesIsNot()
{
    QFETCH(int, at);
    QFETCH(QString, what);
    Standing standing;
    QCOMPARE(standing.header(), "1.0");
    QList<velmo::ManifestFile> &files = standing.manifest.files;
    if (what == "more"_L1) {
        files.append(files.first());
    } else if (what == "gone"_L1) {
        files.removeAt(at);
    } else {
        velmo::ManifestFile &file = files[at];
        file.path += what == "path"_L1 ? u"x"_s : QString();
        file.sha256 = what == "hash"_L1 ? QString(64, u'a') : file.sha256;
        file.size += what == "size"_L1 ? 1 : 0;
        file.url += what == "address"_L1 ? u"x"_s : QString();
        file.executable = file.executable != (what == "run bit"_L1);
    }
    QCOMPARE(standing.header(), "none");
}

void tst_ProvedPieces::headerOfADamagedManifestIsNot()
{
    const Standing standing;
    const QByteArray whole = contentOf(standing.paths.manifest);
    for (const qsizetype at : {qsizetype{2}, whole.size() / 2, whole.size() - 2}) {
        flip(standing.paths.manifest, at);
        QCOMPARE(standing.header(), "none");
        writeFile(standing.paths.manifest, whole);
    }
    QCOMPARE(standing.header(), "1.0");
}

void tst_ProvedPieces::nextManifestIsTheSameWithThePiecesAsWithout_data()
{
    QTest::addColumn<QString>("damaged");
    QTest::newRow("whole") << QString();
    QTest::newRow("manifest damaged") << u"manifest.json"_s;
    QTest::newRow("packed one damaged") << u"manifest.json.gz"_s;
}

void tst_ProvedPieces::nextManifestIsTheSameWithThePiecesAsWithout()
{
    QFETCH(QString, damaged);
    Standing standing;
    Standing without;
    const ProvedPieces same(standing.paths);
    QCOMPARE(same.count(), 3);
    if (!damaged.isEmpty()) { // since it was looked at
        const QString path = QFileInfo(standing.paths.manifest).dir().filePath(damaged);
        flip(path, contentOf(path).size() / 2);
    }
    Manifest next = standing.manifest;
    next.build = 1000;
    next.version = u"2.0, with a longer head"_s;
    next.notes = u"and an end"_s;
    ProvedPieces::Writer proved(standing.paths.list);
    QCOMPARE(standing.tree.writeManifest(next, ManifestFiles::of(next), &same, &proved), QString());
    QCOMPARE(proved.finish(), QString());
    QCOMPARE(without.tree.writeManifest(next), QString());
    QVERIFY(contentOf(standing.paths.manifest) == contentOf(without.paths.manifest));
    QVERIFY(contentOf(standing.paths.packed) == contentOf(without.paths.packed));
    QCOMPARE(standing.tree.lookAtPacked(u"release"_s).problems, QStringList());
    QCOMPARE(standing.header(), next.version.toUtf8()); // so what stands now is known in its turn
}

void tst_ProvedPieces::pieceThatStandsIsNotMadeAnew()
{
    const Standing standing;
    const ProvedPieces same(standing.paths);
    std::atomic<int> asked = 0;
    const auto at = [&standing, &asked](qsizetype index) {
        asked += index >= 1000 && index < 2000 ? 1 : 0;
        return standing.manifest.files.at(index);
    };
    QCOMPARE(standing.tree.writeManifest(standing.manifest, {filesOfThreePieces, at}, &same), QString());
    QCOMPARE(asked.load(), 0);
    QCOMPARE(standing.tree.writeManifest(standing.manifest, {filesOfThreePieces, at}), QString());
    QVERIFY(asked.load() >= 1000);
}

void tst_ProvedPieces::endsOfAManifestAreReadByTheParserAllTheSame_data()
{
    QTest::addColumn<int>("at");
    QTest::newRow("first") << 0;
    QTest::newRow("last") << 2499;
}

void tst_ProvedPieces::endsOfAManifestAreReadByTheParserAllTheSame()
{
    QFETCH(int, at);
    const Standing standing;
    const ProvedPieces same(standing.paths);
    Manifest bad = standing.manifest;
    bad.files[at].path = u"../x"_s;
    const QByteArray before = contentOf(standing.paths.manifest);
    const QString problem = standing.tree.writeManifest(bad, ManifestFiles::of(bad), &same);
    QVERIFY2(problem.startsWith(u"The launcher would not read the manifest"_s), qPrintable(problem));
    QVERIFY(contentOf(standing.paths.manifest) == before);
}

int main(int argc, char **argv)
{
    return velmo::test::runTest<tst_ProvedPieces>(argc, argv);
}

#include "tst_ProvedPieces.moc"
