#include "studio/StudioServer.h"

#include "StudioTest.h"
#include "support/TestEnvironment.h"

#include <QFile>
#include <QTemporaryDir>
#include <QTimeZone>

#include <sys/stat.h>

using namespace Qt::Literals::StringLiterals;
using velmo::studio::StudioServer;
using namespace velmo::test;

/// What the studio answers while it behaves.
class tst_StudioContent : public StudioTest {
    Q_OBJECT

private slots:
    void getSendsTheFile();
    void headSendsWhatGetWouldButTheBody();
    void otherMethodsAreRefused_data();
    void otherMethodsAreRefused();
    void refusedBodyIsSkippedAndTheConnectionGoesOn();
    void refusedChunkedBodyEndsTheConnection();
    void malformedRequestIsRefusedAndTheConnectionClosed();
    void hugeHeadIsRefused();
    void whatIsNoFileIsNotFound_data();
    void whatIsNoFileIsNotFound();
    void contentTypeTellsJsonFromAnythingElse_data();
    void contentTypeTellsJsonFromAnythingElse();
    void replyIsDated();
    void pathIsDecodedAndTheQueryIgnored();
    void emptyFileIsServed();
    void nothingOutsideOfTheTreeIsServed_data();
    void nothingOutsideOfTheTreeIsServed();
    void pipeIsNotOpened();
    void linksOutOfTheTreeAreNotFollowed();
    void linksInsideOfTheTreeAreFollowed();

    void rangeIsServed_data();
    void rangeIsServed();
    void rangeBehindTheEndIsRefused();
    void rangeThatCannotBeReadIsIgnored();
    void rangeOfHeadIsIgnored();
    void farEndOfAHugeFileIsServed();
    void rangeOfADocumentIsServed();

    void packedFormIsForThoseWhoUnpack_data();
    void packedFormIsForThoseWhoUnpack();
    void packedFormOfWhatIsNotThereIsNotServed();
    void whatIsNamedAfterItsHashMayBeKept_data();
    void whatIsNamedAfterItsHashMayBeKept();

    void documentHidesTheFile();
    void documentHasItsContentType();
};

void tst_StudioContent::getSendsTheFile()
{
    const QByteArray bytes = QByteArray("velmo\0\r\n\r\n", 10).repeated(100'000);
    studio_->writeFile(u"/deep/folder/game.pak"_s, bytes);
    const Answer answer = fetch(u"/deep/folder/game.pak"_s);
    QCOMPARE(answer.error, QNetworkReply::NoError);
    QCOMPARE(answer.status, 200);
    QVERIFY(answer.body == bytes);
}

void tst_StudioContent::headSendsWhatGetWouldButTheBody()
{
    RawClient client(studio_->server().port());
    RawReply get = client.exchange("GET", "/digits.txt");
    RawReply head = client.exchange("HEAD", "/digits.txt");
    QCOMPARE(head.status, 200);
    QCOMPARE(head.headers.value("content-length"), "10");
    get.headers.remove("date");
    head.headers.remove("date");
    QCOMPARE(head.headers, get.headers);
    QCOMPARE(client.exchange("HEAD", "/missing").status, 404);
    QCOMPARE(client.exchange("GET", "/digits.txt").body, "0123456789"); // no body came in between
}

void tst_StudioContent::otherMethodsAreRefused_data()
{
    QTest::addColumn<QByteArray>("method");

    for (const char *method : {"POST", "PUT", "DELETE", "OPTIONS", "PATCH", "TRACE", "get", "BREW"}) {
        QTest::newRow(method) << QByteArray(method);
    }
}

void tst_StudioContent::otherMethodsAreRefused()
{
    QFETCH(const QByteArray, method);
    const RawReply reply = exchange(method, "/digits.txt");
    QCOMPARE(reply.status, 405);
    QCOMPARE(reply.headers.value("allow"), "GET, HEAD");
    QCOMPARE(studio_->readFile(u"/digits.txt"_s), "0123456789");
}

void tst_StudioContent::refusedBodyIsSkippedAndTheConnectionGoesOn()
{
    const QByteArray body = QByteArray("GET /x HTTP/1.1\r\n\r\n").repeated(20'000);
    RawClient client(studio_->server().port());
    client.request("POST", "/digits.txt", "Content-Length: " + QByteArray::number(body.size()) + "\r\n");
    client.write(body);
    QCOMPARE(client.read().status, 405);
    QCOMPARE(client.exchange("GET", "/digits.txt").status, 200);
    QVERIFY(studio_->server().requests(u"/x"_s).isEmpty());
}

void tst_StudioContent::refusedChunkedBodyEndsTheConnection()
{
    RawClient client(studio_->server().port());
    client.request("POST", "/digits.txt", "Transfer-Encoding: chunked\r\n");
    client.write("12\r\nGET /x HTTP/1.1\r\n\r\n\r\n0\r\n\r\n");
    const RawReply reply = client.read();
    QCOMPARE(reply.status, 405);
    QCOMPARE(reply.headers.value("connection"), "close");
    QVERIFY(client.waitForClose());
    QVERIFY(studio_->server().requests(u"/x"_s).isEmpty());
}

void tst_StudioContent::malformedRequestIsRefusedAndTheConnectionClosed()
{
    RawClient client(studio_->server().port());
    client.write("GET nowhere HTTP/1.1\r\nHost: a\r\n\r\nGET /digits.txt HTTP/1.1\r\nHost: a\r\n\r\n");
    const RawReply reply = client.read();
    QCOMPARE(reply.status, 400);
    QCOMPARE(reply.headers.value("connection"), "close");
    QVERIFY(client.waitForClose());
    QVERIFY(studio_->server().requests().isEmpty());
}

void tst_StudioContent::hugeHeadIsRefused()
{
    RawClient client(studio_->server().port());
    client.request("GET", "/digits.txt",
                   "X-Long: " + QByteArray(30'000'000, 'x') + "\r\n"); // more than is on its way at once
    const RawReply reply = client.read();
    QCOMPARE(reply.status, 431);
    QCOMPARE(reply.headers.value("connection"), "close");
    QVERIFY(client.waitForClose());
}

void tst_StudioContent::whatIsNoFileIsNotFound_data()
{
    QTest::addColumn<QByteArray>("target");

    QTest::newRow("root") << "/"_ba;
    QTest::newRow("missing") << "/missing"_ba;
    QTest::newRow("folder") << "/folder"_ba;
    QTest::newRow("folder with a slash") << "/folder/"_ba;
    QTest::newRow("file with a slash") << "/digits.txt/"_ba;
    QTest::newRow("below a file") << "/digits.txt/x"_ba;
    QTest::newRow("other case") << "/DIGITS.TXT"_ba;
}

void tst_StudioContent::whatIsNoFileIsNotFound()
{
    QFETCH(const QByteArray, target);
    studio_->writeFile(u"/folder/index.html"_s, "index");
    const RawReply reply = exchange("GET", target);
    QCOMPARE(reply.status, 404);
    QCOMPARE(reply.body, "404 Not Found\n");
    QCOMPARE(reply.headers.value("content-type"), "text/plain; charset=utf-8");
}

void tst_StudioContent::contentTypeTellsJsonFromAnythingElse_data()
{
    QTest::addColumn<QString>("name");
    QTest::addColumn<QByteArray>("type");

    QTest::newRow("json") << u"/a.json"_s << "application/json"_ba;
    QTest::newRow("two suffixes") << u"/a.json.zip"_s << "application/octet-stream"_ba;
    QTest::newRow("unknown") << u"/a.pak"_s << "application/octet-stream"_ba;
    QTest::newRow("none") << u"/a"_s << "application/octet-stream"_ba;
}

void tst_StudioContent::contentTypeTellsJsonFromAnythingElse()
{
    QFETCH(const QString, name);
    QFETCH(const QByteArray, type);
    studio_->writeFile(name, "x");
    QCOMPARE(fetch(name).contentType, type);
}

void tst_StudioContent::replyIsDated()
{
    const QDateTime before = QDateTime::currentDateTimeUtc().addSecs(-1);
    const RawReply reply = exchange("GET", "/digits.txt");
    QCOMPARE(reply.headers.value("accept-ranges"), "bytes");
    QDateTime date =
        QLocale::c().toDateTime(QString::fromLatin1(reply.headers.value("date")), u"ddd, dd MMM yyyy hh:mm:ss 'GMT'"_s);
    date.setTimeZone(QTimeZone::utc());
    QVERIFY2(date.isValid(), reply.headers.value("date").constData());
    QVERIFY(date >= before && date <= QDateTime::currentDateTimeUtc());
}

void tst_StudioContent::pathIsDecodedAndTheQueryIgnored()
{
    studio_->writeFile(u"/.well-known/a b.txt"_s, "found");
    QCOMPARE(exchange("GET", "/%2Ewell-known%2Fa%20b.txt?c=/../d").body, "found");
    QCOMPARE(exchange("GET", "https://127.0.0.1/.well-known/a%20b.txt").body, "found");
    QCOMPARE(studio_->server().requests().constFirst().path, u"/.well-known/a b.txt"_s);
}

void tst_StudioContent::emptyFileIsServed()
{
    studio_->writeFile(u"/empty"_s, {});
    RawClient client(studio_->server().port());
    const RawReply reply = client.exchange("GET", "/empty");
    QCOMPARE(reply.status, 200);
    QCOMPARE(reply.headers.value("content-length"), "0");
    QCOMPARE(client.exchange("GET", "/empty", "Range: bytes=0-\r\n").status, 416);
    QCOMPARE(client.exchange("GET", "/digits.txt").status, 200);
}

void tst_StudioContent::nothingOutsideOfTheTreeIsServed_data()
{
    QTest::addColumn<QByteArray>("target");

    QTest::newRow("plain") << "/../secret.txt"_ba;
    QTest::newRow("escaped dots") << "/%2e%2e/secret.txt"_ba;
    QTest::newRow("escaped slash") << "/..%2Fsecret.txt"_ba;
    QTest::newRow("all escaped") << "/%2e%2e%2fsecret.txt"_ba;
    QTest::newRow("from below") << "/folder/../../secret.txt"_ba;
    QTest::newRow("from below what is missing") << "/missing/../../secret.txt"_ba;
    QTest::newRow("in and out") << "/../tree/digits.txt"_ba;
    QTest::newRow("inside") << "/folder/../digits.txt"_ba;
    QTest::newRow("sibling whose name begins alike") << "/../tree-sibling/secret.txt"_ba;
    QTest::newRow("link to such a sibling") << "/link"_ba;
    QTest::newRow("absolute") << "//etc/passwd"_ba;
    QTest::newRow("dots alone") << "/.."_ba;
}

void tst_StudioContent::nothingOutsideOfTheTreeIsServed()
{
    QFETCH(const QByteArray, target);
    studio_->writeFile(u"/secret.txt"_s, "secret");
    studio_->writeFile(u"/tree-sibling/secret.txt"_s, "secret");
    studio_->writeFile(u"/tree/digits.txt"_s, "0123456789");
    studio_->writeFile(u"/tree/folder/file"_s, "x");
    QVERIFY(QFile::link(studio_->root() + u"/tree-sibling/secret.txt"_s, studio_->root() + u"/tree/link"_s));
    StudioServer::Options options = TestStudio::loopbackOptions();
    options.root = studio_->root() + u"/tree"_s;
    StudioServer inner;
    QCOMPARE(inner.start(options), QString());
    RawClient client(inner.port());
    QCOMPARE(client.exchange("GET", target).status, 404);
    QCOMPARE(client.exchange("GET", "/digits.txt").status, 200);
}

void tst_StudioContent::pipeIsNotOpened()
{
    const QByteArray name = QFile::encodeName(studio_->root() + u"/pipe"_s);
    QCOMPARE(::mkfifo(name.constData(), 0600), 0);
    QCOMPARE(exchange("GET", "/pipe").status, 404);
}

void tst_StudioContent::linksOutOfTheTreeAreNotFollowed()
{
    QTemporaryDir outside;
    QFile secret(outside.filePath(u"secret.txt"_s));
    QVERIFY(secret.open(QIODevice::WriteOnly));
    QVERIFY(QFile::link(secret.fileName(), studio_->root() + u"/link.txt"_s));
    QVERIFY(QFile::link(outside.path(), studio_->root() + u"/link"_s));
    QCOMPARE(exchange("GET", "/link.txt").status, 404);
    QCOMPARE(exchange("GET", "/link/secret.txt").status, 404);
}

void tst_StudioContent::linksInsideOfTheTreeAreFollowed()
{
    QVERIFY(QFile::link(studio_->root() + u"/digits.txt"_s, studio_->root() + u"/link.txt"_s));
    QCOMPARE(exchange("GET", "/link.txt").body, "0123456789");
}

void tst_StudioContent::rangeIsServed_data()
{
    QTest::addColumn<QByteArray>("range");
    QTest::addColumn<QByteArray>("contentRange");
    QTest::addColumn<QByteArray>("body");

    QTest::newRow("from") << "bytes=4-"_ba
                          << "bytes 4-9/10"_ba
                          << "456789"_ba;
    QTest::newRow("whole") << "bytes=0-"_ba
                           << "bytes 0-9/10"_ba
                           << "0123456789"_ba;
    QTest::newRow("between") << "bytes=2-5"_ba
                             << "bytes 2-5/10"_ba
                             << "2345"_ba;
    QTest::newRow("beyond the end") << "bytes=8-99"_ba
                                    << "bytes 8-9/10"_ba
                                    << "89"_ba;
    QTest::newRow("last bytes") << "bytes=-3"_ba
                                << "bytes 7-9/10"_ba
                                << "789"_ba;
}

void tst_StudioContent::rangeIsServed()
{
    QFETCH(const QByteArray, range);
    QFETCH(const QByteArray, contentRange);
    QFETCH(const QByteArray, body);
    const RawReply reply = exchange("GET", "/digits.txt", "Range: " + range + "\r\n");
    QCOMPARE(reply.status, 206);
    QCOMPARE(reply.headers.value("content-range"), contentRange);
    QCOMPARE(reply.headers.value("content-length"), QByteArray::number(body.size()));
    QCOMPARE(reply.body, body);
    QCOMPARE(fetch(u"/digits.txt"_s, range).body, body);
}

void tst_StudioContent::rangeBehindTheEndIsRefused()
{
    const RawReply reply = exchange("GET", "/digits.txt", "Range: bytes=10-\r\n");
    QCOMPARE(reply.status, 416);
    QCOMPARE(reply.headers.value("content-range"), "bytes */10");
    QCOMPARE(reply.body, "416 Range Not Satisfiable\n");
}

void tst_StudioContent::rangeThatCannotBeReadIsIgnored()
{
    for (const char *range : {"bytes=5-4", "bytes=1-2,4-5", "lines=1-2", "bytes=x"}) {
        const RawReply reply = exchange("GET", "/digits.txt", "Range: " + QByteArray(range) + "\r\n");
        QCOMPARE(reply.status, 200);
        QCOMPARE(reply.body, "0123456789");
        QVERIFY(!reply.headers.contains("content-range"));
    }
}

void tst_StudioContent::rangeOfHeadIsIgnored()
{
    const RawReply reply = exchange("HEAD", "/digits.txt", "Range: bytes=2-3\r\n");
    QCOMPARE(reply.status, 200);
    QCOMPARE(reply.headers.value("content-length"), "10");
}

void tst_StudioContent::farEndOfAHugeFileIsServed()
{
    constexpr qint64 size = 5LL * 1024 * 1024 * 1024;
    QFile file(studio_->root() + u"/huge.pak"_s);
    QVERIFY(file.open(QIODevice::WriteOnly));
    QVERIFY(file.resize(size));
    QVERIFY(file.seek(size - 6));
    QCOMPARE(file.write("velmo!"), 6);
    file.close();

    const RawReply head = exchange("HEAD", "/huge.pak");
    QCOMPARE(head.headers.value("content-length"), "5368709120");
    const RawReply last = exchange("GET", "/huge.pak", "Range: bytes=-6\r\n");
    QCOMPARE(last.headers.value("content-range"), "bytes 5368709114-5368709119/5368709120");
    QCOMPARE(last.body, "velmo!");
    const RawReply far = exchange("GET", "/huge.pak", "Range: bytes=5368709115-5368709117\r\n");
    QCOMPARE(far.status, 206);
    QCOMPARE(far.body, "elm");
    QCOMPARE(exchange("GET", "/huge.pak", "Range: bytes=5368709120-\r\n").status, 416);
}

void tst_StudioContent::rangeOfADocumentIsServed()
{
    studio_->server().setDocument(u"/doc"_s, "abcdef");
    const RawReply reply = exchange("GET", "/doc", "Range: bytes=1-3\r\n");
    QCOMPARE(reply.status, 206);
    QCOMPARE(reply.headers.value("content-range"), "bytes 1-3/6");
    QCOMPARE(reply.body, "bcd");
}

void tst_StudioContent::packedFormIsForThoseWhoUnpack_data()
{
    QTest::addColumn<QByteArray>("header");
    QTest::addColumn<bool>("packed");
    QTest::newRow("none") << QByteArray() << false;
    QTest::newRow("identity") << QByteArray("Accept-Encoding: identity\r\n") << false;
    QTest::newRow("gzip") << QByteArray("Accept-Encoding: gzip\r\n") << true;
    QTest::newRow("one of several") << QByteArray("Accept-Encoding: br;q=1.0, GZIP ; q=0.5\r\n") << true;
    QTest::newRow("refused") << QByteArray("Accept-Encoding: deflate, gzip;q=0.0\r\n") << false;
    QTest::newRow("another name") << QByteArray("Accept-Encoding: gzipped\r\n") << false;
}

void tst_StudioContent::packedFormIsForThoseWhoUnpack()
{
    QFETCH(const QByteArray, header);
    QFETCH(const bool, packed);
    studio_->writeFile(u"/a.json"_s, "plain");
    studio_->writeFile(u"/a.json.gz"_s, "not really");
    const RawReply reply = exchange("GET", "/a.json", header);
    QCOMPARE(reply.status, 200);
    QCOMPARE(reply.body, packed ? QByteArray("not really") : QByteArray("plain"));
    QCOMPARE(reply.headers.value("content-encoding"), packed ? QByteArray("gzip") : QByteArray());
    QCOMPARE(reply.headers.value("content-length"), QByteArray::number(reply.body.size()));
    QCOMPARE(reply.headers.value("content-type"), QByteArray("application/json"));
    QCOMPARE(reply.headers.value("vary"), QByteArray("Accept-Encoding"));
    QVERIFY(!exchange("GET", "/digits.txt", header).headers.contains("vary"));
}

void tst_StudioContent::packedFormOfWhatIsNotThereIsNotServed()
{
    studio_->writeFile(u"/a.json.gz"_s, "x");
    QCOMPARE(exchange("GET", "/a.json", "Accept-Encoding: gzip\r\n").status, 404);
    const RawReply itself = exchange("GET", "/a.json.gz", "Accept-Encoding: gzip\r\n");
    QCOMPARE(itself.body, QByteArray("x"));
    QVERIFY(!itself.headers.contains("content-encoding"));
}

void tst_StudioContent::whatIsNamedAfterItsHashMayBeKept_data()
{
    QTest::addColumn<QString>("path");
    QTest::addColumn<QByteArray>("cacheControl");
    const QString hash = QString(64, u'a');
    const QByteArray forGood = "public, max-age=31536000, immutable";
    QTest::newRow("content") << u"/game/files/aa/"_s + hash << forGood;
    QTest::newRow("not quite") << u"/game/files/aa/"_s + hash.chopped(1) << QByteArray("no-cache");
    QTest::newRow("manifest") << u"/game/release/manifest.json"_s << QByteArray("no-cache");
}

void tst_StudioContent::whatIsNamedAfterItsHashMayBeKept()
{
    QFETCH(const QString, path);
    QFETCH(const QByteArray, cacheControl);
    studio_->writeFile(path, "x");
    QCOMPARE(exchange("GET", path.toUtf8()).headers.value("cache-control"), cacheControl);
}

void tst_StudioContent::documentHidesTheFile()
{
    studio_->server().setDocument(u"/digits.txt"_s, "document");
    QCOMPARE(fetch(u"/digits.txt"_s).body, "document");
    studio_->server().removeDocument(u"/digits.txt"_s);
    QCOMPARE(fetch(u"/digits.txt"_s).body, "0123456789");
    studio_->server().removeDocument(u"/digits.txt"_s);
    QCOMPARE(fetch(u"/digits.txt"_s).status, 200);
}

void tst_StudioContent::documentHasItsContentType()
{
    studio_->server().setDocument(u"/a.txt"_s, "{}");
    studio_->server().setDocument(u"/b.txt"_s, "<p>", "text/html");
    QCOMPARE(fetch(u"/a.txt"_s).contentType, "application/json");
    QCOMPARE(fetch(u"/b.txt"_s).contentType, "text/html");
}

int main(int argc, char **argv)
{
    return velmo::test::runTest<tst_StudioContent>(argc, argv);
}

#include "tst_StudioContent.moc"
