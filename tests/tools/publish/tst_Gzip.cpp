#include "publish/Gzip.h"
#include "support/TestEnvironment.h"

#include <QBuffer>
#include <QProcess>

#include <limits>

using namespace Qt::Literals::StringLiterals;
using velmo::publish::GzipFrame;

class tst_Gzip : public QObject {
    Q_OBJECT

private slots:
    void partsMakeOneFile_data();
    void partsMakeOneFile();
    void frameTellsNeitherNameNorTime();
    void nothingIsPackedSoFarThatItPassesForABomb();
    void unpackingKeepsToItsBound();
    void sameTextIsFound();
    void anythingElseIsNotTheSame_data();
    void anythingElseIsNotTheSame();
};

namespace {

QByteArray gzipOf(const QByteArrayList &parts)
{
    GzipFrame frame;
    QByteArray bytes = GzipFrame::begin();
    for (const QByteArray &text : parts) {
        const velmo::publish::PackedPart part = velmo::publish::pack(text);
        frame.add(part);
        bytes += part.bytes;
    }
    return bytes + frame.end();
}

/// By the system's own program, where it has one.
QByteArray unpacked(const QByteArray &bytes)
{
#ifdef Q_OS_WIN
    return velmo::publish::unpack(bytes, std::numeric_limits<qint64>::max()).value_or("damaged");
#else
    QProcess gzip;
    gzip.start(u"gzip"_s, {u"-dc"_s});
    gzip.write(bytes);
    gzip.closeWriteChannel();
    const bool isGood = gzip.waitForFinished() && gzip.exitCode() == 0;
    return isGood ? gzip.readAllStandardOutput() : gzip.readAllStandardError();
#endif
}

bool holdsTheSame(QByteArray packed, QByteArray plain)
{
    QBuffer packedDevice(&packed);
    QBuffer plainDevice(&plain);
    packedDevice.open(QIODevice::ReadOnly);
    plainDevice.open(QIODevice::ReadOnly);
    return velmo::publish::holdsTheSame(packedDevice, plainDevice);
}

/// Text that packs somewhat, over several blocks.
QByteArray longText()
{
    QByteArray text;
    for (quint32 number = 0; number < 200'000; ++number) {
        text += QByteArray::number(number * 2'654'435'761U);
    }
    return text;
}

} // namespace

void tst_Gzip::partsMakeOneFile_data()
{
    QTest::addColumn<QByteArrayList>("parts");
    QTest::newRow("none") << QByteArrayList();
    QTest::newRow("an empty one") << QByteArrayList{""};
    QTest::newRow("a short one") << QByteArrayList{"{}"};
    QTest::newRow("several") << QByteArrayList{"{", "", longText(), "}", longText().first(300'000)};
}

void tst_Gzip::partsMakeOneFile()
{
    QFETCH(QByteArrayList, parts);
    const QByteArray packed = gzipOf(parts);
    QVERIFY(unpacked(packed) == parts.join());
    QCOMPARE(gzipOf(parts), packed);
}

void tst_Gzip::frameTellsNeitherNameNorTime()
{
    QCOMPARE(GzipFrame::begin().toHex(), QByteArray("1f8b08000000000000ff"));
}

/// Qt's client takes 40 times the size.
void tst_Gzip::nothingIsPackedSoFarThatItPassesForABomb()
{
    const QByteArray text(20'000'000, ' ');
    const QByteArray packed = gzipOf({text});
    QVERIFY2(packed.size() > text.size() / 33 && packed.size() < text.size() / 30,
             QByteArray::number(packed.size()).constData());
    QVERIFY(unpacked(packed) == text);
    QVERIFY(holdsTheSame(packed, text));
}

void tst_Gzip::unpackingKeepsToItsBound()
{
    const QByteArray text = longText();
    const QByteArray packed = gzipOf({text});
    QVERIFY(velmo::publish::isPacked(packed) && !velmo::publish::isPacked(text));
    QVERIFY(velmo::publish::unpack(packed, text.size()) == text);
    QVERIFY(!velmo::publish::unpack(packed, text.size() - 1));
    QVERIFY(!velmo::publish::unpack(packed.chopped(1), text.size()));
    QVERIFY(!velmo::publish::unpack(text, text.size()));
}

void tst_Gzip::sameTextIsFound()
{
    for (const QByteArray &text : {QByteArray(), QByteArray("{}"), longText()}) {
        QVERIFY(holdsTheSame(gzipOf({text}), text));
    }
}

void tst_Gzip::anythingElseIsNotTheSame_data()
{
    QTest::addColumn<QByteArray>("packed");
    QTest::addColumn<QByteArray>("plain");
    const QByteArray text = longText();
    const QByteArray packed = gzipOf({text});
    QTest::newRow("nothing") << QByteArray() << QByteArray();
    QTest::newRow("not packed") << text << text;
    QTest::newRow("in another frame") << qCompress(text).sliced(4) << text;
    QTest::newRow("shorter text") << packed << text.chopped(1);
    QTest::newRow("longer text") << packed << QByteArray(text + '0');
    QTest::newRow("other text") << packed << QByteArray(text).replace(500'000, 1, "x");
    QTest::newRow("cut in its end") << packed.chopped(1) << text;
    QTest::newRow("cut in the middle") << packed.first(packed.size() / 2) << text;
    QTest::newRow("wrong checksum") << QByteArray(packed).replace(packed.size() - 8, 1, "\x01") << text;
    QTest::newRow("a byte behind") << QByteArray(packed + 'x') << text;
}

void tst_Gzip::anythingElseIsNotTheSame()
{
    QFETCH(QByteArray, packed);
    QFETCH(QByteArray, plain);
    QVERIFY(!holdsTheSame(packed, plain));
}

int main(int argc, char **argv)
{
    return velmo::test::runTest<tst_Gzip>(argc, argv);
}

#include "tst_Gzip.moc"
