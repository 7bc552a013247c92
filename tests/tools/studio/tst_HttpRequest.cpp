#include "studio/HttpRequest.h"

#include "support/TestEnvironment.h"

using namespace Qt::Literals::StringLiterals;
using velmo::studio::HttpRequest;

class tst_HttpRequest : public QObject {
    Q_OBJECT

private slots:
    void readsLineHeadersAndLeavesTheRest();
    void splitHeadIsIncompleteUntilItsEnd();
    void targetBecomesADecodedPath_data();
    void targetBecomesADecodedPath();
    void malformedHeads_data();
    void malformedHeads();
    void wellFormedOddities_data();
    void wellFormedOddities();
    void headOfTheLargestSizeIsRead();
    void headBeyondTheLargestSizeIsTooLarge();
    void endlessHeadIsTooLargeBeforeItsEnd();
    void headersOfOneNameAreJoined();
    void emptyLinesBeforeARequestAreSkipped();
    void bodyLengthIsRead();
    void keepAlive_data();
    void keepAlive();
    void requestsFollowEachOther();
};

namespace {

HttpRequest parsed(QByteArray input)
{
    HttpRequest request;
    return HttpRequest::take(input, request) == HttpRequest::Complete ? request : HttpRequest();
}

QByteArray headOfSize(qsizetype size)
{
    const QByteArray start = "GET / HTTP/1.1\r\nHost: a\r\nX: ";
    return start + QByteArray(size - start.size(), 'x');
}

} // namespace

void tst_HttpRequest::readsLineHeadersAndLeavesTheRest()
{
    QByteArray input = "GET /news HTTP/1.1\r\nHost: studio\r\nRange:  bytes=1-2 \r\nX-Empty:\r\n\r\nrest";
    HttpRequest request;
    QCOMPARE(HttpRequest::take(input, request), HttpRequest::Complete);
    QCOMPARE(request.method, "GET");
    QCOMPARE(request.path, u"/news"_s);
    QCOMPARE(request.minorVersion, 1);
    QCOMPARE(request.headers.size(), 3);
    QCOMPARE(request.headers.value("host"), "studio");
    QCOMPARE(request.headers.value("range"), "bytes=1-2");
    QVERIFY(request.headers.contains("x-empty"));
    QCOMPARE(request.bodyBytes, 0);
    QVERIFY(!request.hasChunkedBody());
    QCOMPARE(input, "rest");
}

void tst_HttpRequest::splitHeadIsIncompleteUntilItsEnd()
{
    const QByteArray whole = "GET / HTTP/1.1\r\nHost: a\r\n\r\n";
    HttpRequest request;
    for (qsizetype length = 0; length < whole.size(); ++length) {
        QByteArray input = whole.left(length);
        QCOMPARE(HttpRequest::take(input, request), HttpRequest::Incomplete);
        QCOMPARE(input, whole.left(length));
    }
    QByteArray input = whole;
    QCOMPARE(HttpRequest::take(input, request), HttpRequest::Complete);
    QVERIFY(input.isEmpty());
}

void tst_HttpRequest::targetBecomesADecodedPath_data()
{
    QTest::addColumn<QByteArray>("target");
    QTest::addColumn<QString>("path");

    QTest::newRow("plain") << "/a/b.txt"_ba << u"/a/b.txt"_s;
    QTest::newRow("root") << "/"_ba << u"/"_s;
    QTest::newRow("query") << "/a?b=%zz/c"_ba << u"/a"_s;
    QTest::newRow("escapes") << "/a%20b%2Fc%25"_ba << u"/a b/c%"_s;
    QTest::newRow("utf-8") << "/%C3%A4%e2%82%ac"_ba << u"/ä€"_s;
    QTest::newRow("escaped question mark") << "/a%3Fb"_ba << u"/a?b"_s;
    QTest::newRow("plus stays") << "/a+b"_ba << u"/a+b"_s;
    QTest::newRow("absolute form") << "https://studio:443/a/b?c"_ba << u"/a/b"_s;
    QTest::newRow("absolute form in capitals") << "HTTP://studio/a"_ba << u"/a"_s;
    QTest::newRow("absolute form without a path") << "https://studio"_ba << u"/"_s;
    QTest::newRow("absolute form with a query alone") << "https://studio?a/b"_ba << u"/"_s;
}

void tst_HttpRequest::targetBecomesADecodedPath()
{
    QFETCH(const QByteArray, target);
    QFETCH(const QString, path);
    QCOMPARE(parsed("GET " + target + " HTTP/1.1\r\nHost: a\r\n\r\n").path, path);
}

void tst_HttpRequest::malformedHeads_data()
{
    QTest::addColumn<QByteArray>("head");

    QTest::newRow("one word") << "GET\r\nHost: a"_ba;
    QTest::newRow("no version") << "GET /\r\nHost: a"_ba;
    QTest::newRow("four words") << "GET / x HTTP/1.1\r\nHost: a"_ba;
    QTest::newRow("two blanks") << "GET  / HTTP/1.1\r\nHost: a"_ba;
    QTest::newRow("no method") << " / HTTP/1.1\r\nHost: a"_ba;
    QTest::newRow("method with a colon") << "GE:T / HTTP/1.1\r\nHost: a"_ba;
    QTest::newRow("version 2") << "GET / HTTP/2.0\r\nHost: a"_ba;
    QTest::newRow("version without a number") << "GET / HTTP/1.x\r\nHost: a"_ba;
    QTest::newRow("other protocol") << "GET / ICY/1.1.1\r\nHost: a"_ba;
    QTest::newRow("relative target") << "GET a HTTP/1.1\r\nHost: a"_ba;
    QTest::newRow("asterisk") << "GET * HTTP/1.1\r\nHost: a"_ba;
    QTest::newRow("broken escape") << "GET /%zz HTTP/1.1\r\nHost: a"_ba;
    QTest::newRow("half an escape") << "GET /%4 HTTP/1.1\r\nHost: a"_ba;
    QTest::newRow("bare percent") << "GET /% HTTP/1.1\r\nHost: a"_ba;
    QTest::newRow("escaped null") << "GET /a%00b HTTP/1.1\r\nHost: a"_ba;
    QTest::newRow("control character in the target") << "GET /a\tb HTTP/1.1\r\nHost: a"_ba;
    QTest::newRow("line break of one character") << "GET / HTTP/1.1\nHost: a"_ba;
    QTest::newRow("header without a colon") << "GET / HTTP/1.1\r\nHost: a\r\nnothing"_ba;
    QTest::newRow("header without a name") << "GET / HTTP/1.1\r\nHost: a\r\n: b"_ba;
    QTest::newRow("blank before the colon") << "GET / HTTP/1.1\r\nHost: a\r\nX : b"_ba;
    QTest::newRow("folded header") << "GET / HTTP/1.1\r\nHost: a\r\nX: b\r\n c: d"_ba;
    QTest::newRow("control character in a value") << "GET / HTTP/1.1\r\nHost: a\r\nX: b\rc"_ba;
    QTest::newRow("no host") << "GET / HTTP/1.1\r\nX: b"_ba;
    QTest::newRow("no header at all") << "GET / HTTP/1.1"_ba;
    QTest::newRow("two hosts") << "GET / HTTP/1.1\r\nHost: a\r\nHost: b"_ba;
    QTest::newRow("length that is no number") << "GET / HTTP/1.1\r\nHost: a\r\nContent-Length: x"_ba;
    QTest::newRow("negative length") << "GET / HTTP/1.1\r\nHost: a\r\nContent-Length: -1"_ba;
    QTest::newRow("empty length") << "GET / HTTP/1.1\r\nHost: a\r\nContent-Length:"_ba;
    QTest::newRow("two lengths") << "GET / HTTP/1.1\r\nHost: a\r\nContent-Length: 1\r\nContent-Length: 2"_ba;
    QTest::newRow("length beyond 63 bits") << "GET / HTTP/1.1\r\nHost: a\r\nContent-Length: 9223372036854775808"_ba;
}

void tst_HttpRequest::malformedHeads()
{
    QFETCH(const QByteArray, head);
    QByteArray input = head + "\r\n\r\n";
    HttpRequest request;
    QCOMPARE(HttpRequest::take(input, request), HttpRequest::Malformed);
}

void tst_HttpRequest::wellFormedOddities_data()
{
    QTest::addColumn<QByteArray>("head");

    QTest::newRow("version 1.0 without a host") << "GET / HTTP/1.0"_ba;
    QTest::newRow("later minor version") << "GET / HTTP/1.9\r\nHost: a"_ba;
    QTest::newRow("unknown method") << "BREW-2 / HTTP/1.1\r\nHost: a"_ba;
    QTest::newRow("empty host") << "GET / HTTP/1.1\r\nHost:"_ba;
    QTest::newRow("tab in a value") << "GET / HTTP/1.1\r\nHost: a\r\nX: b\tc"_ba;
    QTest::newRow("Latin-1 in a value") << "GET / HTTP/1.1\r\nHost: a\r\nX: \xe4"_ba;
}

void tst_HttpRequest::wellFormedOddities()
{
    QFETCH(const QByteArray, head);
    QByteArray input = head + "\r\n\r\n";
    HttpRequest request;
    QCOMPARE(HttpRequest::take(input, request), HttpRequest::Complete);
}

void tst_HttpRequest::headOfTheLargestSizeIsRead()
{
    QByteArray input = headOfSize(HttpRequest::maximumHeadBytes) + "\r\n\r\n";
    HttpRequest request;
    QCOMPARE(HttpRequest::take(input, request), HttpRequest::Complete);
}

void tst_HttpRequest::headBeyondTheLargestSizeIsTooLarge()
{
    QByteArray input = headOfSize(HttpRequest::maximumHeadBytes + 1) + "\r\n\r\n";
    HttpRequest request;
    QCOMPARE(HttpRequest::take(input, request), HttpRequest::TooLarge);
}

void tst_HttpRequest::endlessHeadIsTooLargeBeforeItsEnd()
{
    HttpRequest request;
    QByteArray waiting = headOfSize(HttpRequest::maximumHeadBytes);
    QCOMPARE(HttpRequest::take(waiting, request), HttpRequest::Incomplete);
    QByteArray endless = headOfSize(HttpRequest::maximumHeadBytes + 4);
    QCOMPARE(HttpRequest::take(endless, request), HttpRequest::TooLarge);
}

void tst_HttpRequest::headersOfOneNameAreJoined()
{
    const HttpRequest request =
        parsed("GET / HTTP/1.1\r\nHost: a\r\nIf-None-Match: \"1\"\r\nif-none-match: \"2\"\r\n\r\n");
    QCOMPARE(request.headers.value("if-none-match"), "\"1\", \"2\"");
}

void tst_HttpRequest::emptyLinesBeforeARequestAreSkipped()
{
    QCOMPARE(parsed("\r\n\r\nGET /a HTTP/1.1\r\nHost: a\r\n\r\n").path, u"/a"_s);
}

void tst_HttpRequest::bodyLengthIsRead()
{
    const HttpRequest counted = parsed("POST / HTTP/1.1\r\nHost: a\r\nContent-Length: 5000000000\r\n\r\n");
    QCOMPARE(counted.bodyBytes, 5'000'000'000);
    QVERIFY(!counted.hasChunkedBody());
    const HttpRequest chunked = parsed("POST / HTTP/1.1\r\nHost: a\r\nTransfer-Encoding: chunked\r\n\r\n");
    QCOMPARE(chunked.bodyBytes, 0);
    QVERIFY(chunked.hasChunkedBody());
}

void tst_HttpRequest::keepAlive_data()
{
    QTest::addColumn<QByteArray>("head");
    QTest::addColumn<bool>("keepsAlive");

    QTest::newRow("1.1") << "GET / HTTP/1.1\r\nHost: a"_ba << true;
    QTest::newRow("1.1, keep-alive") << "GET / HTTP/1.1\r\nHost: a\r\nConnection: Keep-Alive"_ba << true;
    QTest::newRow("1.1, close") << "GET / HTTP/1.1\r\nHost: a\r\nConnection: Close"_ba << false;
    QTest::newRow("1.1, close among others") << "GET / HTTP/1.1\r\nHost: a\r\nConnection: TE, close"_ba << false;
    QTest::newRow("1.0") << "GET / HTTP/1.0\r\nHost: a"_ba << false;
    QTest::newRow("1.0, keep-alive") << "GET / HTTP/1.0\r\nConnection: keep-alive"_ba << false;
}

void tst_HttpRequest::keepAlive()
{
    QFETCH(const QByteArray, head);
    QFETCH(const bool, keepsAlive);
    const HttpRequest request = parsed(head + "\r\n\r\n");
    QCOMPARE(request.method, "GET");
    QCOMPARE(request.wantsKeepAlive(), keepsAlive);
}

void tst_HttpRequest::requestsFollowEachOther()
{
    QByteArray input = "GET /1 HTTP/1.1\r\nHost: a\r\nX: y\r\n\r\nHEAD /2 HTTP/1.1\r\nHost: a\r\n\r\n";
    HttpRequest request;
    QCOMPARE(HttpRequest::take(input, request), HttpRequest::Complete);
    QCOMPARE(request.path, u"/1"_s);
    QCOMPARE(HttpRequest::take(input, request), HttpRequest::Complete);
    QCOMPARE(request.path, u"/2"_s);
    QCOMPARE(request.method, "HEAD");
    QVERIFY(!request.headers.contains("x"));
    QCOMPARE(HttpRequest::take(input, request), HttpRequest::Incomplete);
}

int main(int argc, char **argv)
{
    return velmo::test::runTest<tst_HttpRequest>(argc, argv);
}

#include "tst_HttpRequest.moc"
