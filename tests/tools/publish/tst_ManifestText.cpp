#include "publish/ManifestText.h"
#include "support/TestEnvironment.h"
#include "tools/publish/PublishFixture.h"

#include <QJsonDocument>
#include <QJsonObject>

using namespace Qt::Literals::StringLiterals;
using velmo::Manifest;
using velmo::publish::ManifestFiles;
using velmo::publish::ManifestText;

class tst_ManifestText : public QObject {
    Q_OBJECT

private slots:
    void piecesMakeTheTextOfTheWhole_data();
    void piecesMakeTheTextOfTheWhole();
    void byteOrderMarkThatBeginsATextIsKept();
    void textIsReadInPieces_data();
    void textIsReadInPieces();
    void textOfAnotherFormIsLeftToTheWholeParser_data();
    void textOfAnotherFormIsLeftToTheWholeParser();
    void entryThatIsReadOtherwiseIsFoundInAnyPiece_data();
    void entryThatIsReadOtherwiseIsFoundInAnyPiece();
    void headerThatIsReadOtherwiseIsFound();
};

namespace {

Manifest manifestOf(int files)
{
    Manifest manifest;
    manifest.version = u"1.2 \"quiet\",\"files\":["_s;
    manifest.build = 120;
    manifest.notes = u"],\"notes\":\n},{\"executable\":\\ — für alle"_s;
    manifest.executable = u"Data/0"_s;
    manifest.released = QDateTime::fromString(u"2026-03-01T12:00:00Z"_s, Qt::ISODate);
    for (int number = 0; number < files; ++number) {
        const QString sha256 = velmo::test::sha256Of(QByteArray::number(number));
        const QString letters = QStringList{u""_s, u" [地図]"_s, u"😀]},{"_s}.at(number % 3);
        const QString marks = QStringList{u""_s, u"\t\"\\/\x7f\x1f],{\\"_s}.at(number % 2);
        manifest.files.append({u"Data/%1"_s.arg(number) + letters, sha256, qint64{number} << 35,
                               u"../files/"_s + sha256 + marks, number % 3 == 0});
    }
    manifest.valid = true;
    return manifest;
}

QByteArray compact(const Manifest &manifest)
{
    return QJsonDocument(manifest.toJson()).toJson(QJsonDocument::Compact);
}

QByteArray textOf(const Manifest &manifest)
{
    const ManifestText text(manifest, ManifestFiles::of(manifest));
    QByteArray bytes;
    for (qsizetype number = 0; number < text.pieces(); ++number) {
        bytes += text.piece(number);
    }
    return bytes;
}

void addCounts()
{
    QTest::addColumn<int>("files");
    for (const int files : {0, 1, 999, 1000, 1001, 2000, 12345}) {
        QTest::addRow("%d", files) << files;
    }
}

} // namespace

void tst_ManifestText::piecesMakeTheTextOfTheWhole_data()
{
    addCounts();
}

void tst_ManifestText::piecesMakeTheTextOfTheWhole()
{
    QFETCH(int, files);
    const Manifest manifest = manifestOf(files);
    QVERIFY(!ManifestText(manifest, ManifestFiles::of(manifest)).difference());
    QVERIFY(textOf(manifest) == compact(manifest));
}

void tst_ManifestText::byteOrderMarkThatBeginsATextIsKept()
{
    // Qt's reader drops one that stands there as it is.
    const QString mark(QChar::ByteOrderMark);
    Manifest manifest = manifestOf(3);
    manifest.version = mark + u"1.0"_s;
    manifest.notes = mark + u"notes"_s;
    manifest.files[0].path = mark + u"map"_s;
    manifest.files[1].url = mark + u"\"map"_s;
    manifest.files[2].path = u"a"_s + mark;
    const std::optional<QString> difference = ManifestText(manifest, ManifestFiles::of(manifest)).difference();
    QVERIFY2(!difference, qUtf8Printable(difference.value_or(QString())));
    const QByteArray text = textOf(manifest);
    QCOMPARE(text, compact(manifest).replace("\"\xEF\xBB\xBF", "\"\\ufeff"));
    QCOMPARE(velmo::publish::parsedManifest(text).manifest.toJson(), manifest.toJson());
}

void tst_ManifestText::textIsReadInPieces_data()
{
    addCounts();
}

void tst_ManifestText::textIsReadInPieces()
{
    QFETCH(int, files);
    const QTemporaryDir folder;
    const QString path = folder.filePath(u"manifest.json"_s);
    const Manifest manifest = manifestOf(files);
    velmo::test::writeFile(path, textOf(manifest));
    const std::optional<Manifest> read = velmo::publish::manifestInPieces(path);
    QCOMPARE(read.has_value(), files > 0);
    if (read) {
        QVERIFY(read->valid);
        QCOMPARE(read->files.size(), files);
        QVERIFY(read->toJson() == manifest.toJson());
    }
}

void tst_ManifestText::textOfAnotherFormIsLeftToTheWholeParser_data()
{
    QTest::addColumn<QByteArray>("before");
    QTest::addColumn<QByteArray>("after");
    const QByteArray entry = R"(},{"executable":true,"path":"Data/5001")";
    QTest::newRow("indented") << QByteArray("\"build\":") << QByteArray("\"build\": ");
    QTest::newRow("another key") << QByteArray("\"channel\":") << QByteArray(R"("brand":1,"channel":)");
    QTest::newRow("cut") << QByteArray("Data/5001\"") << QByteArray("Data/");
    QTest::newRow("not UTF-8") << QByteArray("Data/5001\"") << QByteArray("Data/\xff\"");
    QTest::newRow("bad entry") << QByteArray("Data/5001\"") << QByteArray("../5001\"");
    QTest::newRow("two lists") << entry << QByteArray(entry).replace(0, 2, R"(}],"files":[)");
    QTest::newRow("two lists, with blanks") << entry << QByteArray(entry).replace(0, 2, R"(} ] , "files" : [ )");
    QTest::newRow("a list behind the list") << QByteArray("\"notes\"") << QByteArray("\"more\":[],\"notes\"");
    QTest::newRow("a list before the list")
        << QByteArray("\"executable\":\"D") << QByteArray(R"("e":{"a":1,"files":[],"notes":1},"executable":"D)");
}

void tst_ManifestText::textOfAnotherFormIsLeftToTheWholeParser()
{
    QFETCH(QByteArray, before);
    QFETCH(QByteArray, after);
    const QTemporaryDir folder;
    const QString path = folder.filePath(u"manifest.json"_s);
    const QByteArray text = textOf(manifestOf(12345));
    QByteArray changed = text;
    changed.replace(before, after);
    QVERIFY(changed != text);
    velmo::test::writeFile(path, changed);
    QVERIFY(!velmo::publish::manifestInPieces(path));
}

void tst_ManifestText::entryThatIsReadOtherwiseIsFoundInAnyPiece_data()
{
    QTest::addColumn<int>("number");
    QTest::addColumn<bool>("upperCase");
    QTest::addColumn<QString>("reason");
    for (const int number : {0, 999, 1000, 2344}) {
        QTest::addRow("refused, %d", number) << number << false << u"Manifest contains an invalid file entry: a/../b"_s;
        QTest::addRow("read otherwise, %d", number) << number << true << QString();
    }
}

void tst_ManifestText::entryThatIsReadOtherwiseIsFoundInAnyPiece()
{
    QFETCH(int, number);
    QFETCH(bool, upperCase);
    QFETCH(QString, reason);
    Manifest manifest = manifestOf(2345);
    if (upperCase) {
        manifest.files[number].sha256 = QString(64, u'A');
    } else {
        manifest.files[number].path = u"a/../b"_s;
    }
    const std::optional<QString> difference = ManifestText(manifest, ManifestFiles::of(manifest)).difference();
    QVERIFY(difference);
    QCOMPARE(*difference, reason);
}

void tst_ManifestText::headerThatIsReadOtherwiseIsFound()
{
    Manifest manifest = manifestOf(3);
    manifest.version.clear();
    QCOMPARE(ManifestText(manifest, ManifestFiles::of(manifest)).difference().value_or(u"none"_s),
             u"Manifest is missing a version."_s);
    manifest = manifestOf(3);
    manifest.channel.clear(); // read as release
    QVERIFY(ManifestText(manifest, ManifestFiles::of(manifest)).difference());
}

int main(int argc, char **argv)
{
    return velmo::test::runTest<tst_ManifestText>(argc, argv);
}

#include "tst_ManifestText.moc"
