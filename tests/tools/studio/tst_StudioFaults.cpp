#include "studio/StudioServer.h"

#include "StudioTest.h"
#include "support/TestEnvironment.h"

#include <QElapsedTimer>
#include <QFile>
#include <QNetworkReply>
#include <QSignalSpy>

using namespace Qt::Literals::StringLiterals;
using velmo::studio::Fault;
using namespace velmo::test;

namespace {

constexpr int patienceMs = 60'000;

} // namespace

/// How the studio misbehaves.
class tst_StudioFaults : public StudioTest {
    Q_OBJECT

private slots:
    void faultMeetsItsAttempts();
    void faultStatus_data();
    void faultStatus();
    void faultRedirect();
    void faultIgnoreRange();
    void faultRangeRefused();
    void faultWrongRange();
    void rangeFaultsLeaveOtherRequestsAlone_data();
    void rangeFaultsLeaveOtherRequestsAlone();
    void faultCloseAfter_data();
    void faultCloseAfter();
    void faultCloseAfterReachesTheClientAsAnError();
    void faultStall();
    void faultCorrupt();
    void faultCorruptOfARange_data();
    void faultCorruptOfARange();
    void faultLengthOffset_data();
    void faultLengthOffset();
    void bodyFaultsLeaveHeadAlone_data();
    void bodyFaultsLeaveHeadAlone();
    void faultsAddUp();
    void firstOfExcludingFaultsDecides();
    void clearedFaultsAreGoneAndTheCountAnew();
};

void tst_StudioFaults::faultMeetsItsAttempts()
{
    studio_->server().addFault(u"/digits.txt"_s,
                               {.kind = Fault::Status, .status = 500, .firstAttempt = 2, .lastAttempt = 3});
    studio_->server().addFault(u"/digits.txt"_s, {.kind = Fault::Status, .status = 429, .firstAttempt = 5});
    QList<int> statuses;
    for (int attempt = 1; attempt <= 6; ++attempt) {
        statuses.append(exchange(attempt == 2 ? "HEAD" : "GET", "/digits.txt").status);
    }
    QCOMPARE(statuses, QList<int>({200, 500, 500, 200, 429, 429}));
    QCOMPARE(exchange("GET", "/missing").status, 404);
}

void tst_StudioFaults::faultStatus_data()
{
    QTest::addColumn<int>("status");
    QTest::addColumn<QString>("path");
    QTest::addColumn<QByteArray>("body");

    QTest::newRow("404 of a file") << 404 << u"/digits.txt"_s << "404 Not Found\n"_ba;
    QTest::newRow("416") << 416 << u"/digits.txt"_s << "416 Range Not Satisfiable\n"_ba;
    QTest::newRow("429") << 429 << u"/digits.txt"_s << "429 Too Many Requests\n"_ba;
    QTest::newRow("503 of a document") << 503 << u"/doc"_s << "503 Service Unavailable\n"_ba;
    QTest::newRow("500 of nothing") << 500 << u"/missing"_s << "500 Internal Server Error\n"_ba;
    QTest::newRow("200 with another body") << 200 << u"/digits.txt"_s << "200 OK\n"_ba;
    QTest::newRow("204") << 204 << u"/digits.txt"_s << ""_ba;
    QTest::newRow("304") << 304 << u"/digits.txt"_s << ""_ba;
    QTest::newRow("status without a name") << 599 << u"/digits.txt"_s << "599 Status\n"_ba;
}

void tst_StudioFaults::faultStatus()
{
    QFETCH(const int, status);
    QFETCH(const QString, path);
    QFETCH(const QByteArray, body);
    studio_->server().setDocument(u"/doc"_s, "document");
    studio_->server().addFault(path, {.kind = Fault::Status, .status = status});
    const Answer answer = fetch(path);
    QCOMPARE(answer.status, status);
    QCOMPARE(answer.body, body);
    QCOMPARE(studio_->server().requests().constLast().status, status);
    const RawReply ranged = exchange("GET", path.toUtf8(), "Range: bytes=1-\r\n");
    QCOMPARE(ranged.status, status);
    QCOMPARE(ranged.headers.contains("content-length"), !body.isEmpty());
}

void tst_StudioFaults::faultRedirect()
{
    studio_->server().addFault(u"/digits.txt"_s,
                               {.kind = Fault::Redirect, .location = u"http://127.0.0.1:1/digits.txt"_s});
    const Answer answer = fetch(u"/digits.txt"_s);
    QCOMPARE(answer.status, 302);
    QCOMPARE(answer.location, QUrl(u"http://127.0.0.1:1/digits.txt"_s));

    studio_->server().addFault(u"/moved.txt"_s, {.kind = Fault::Redirect, .location = u"/target.txt"_s});
    studio_->writeFile(u"/target.txt"_s, "target");
    const std::unique_ptr<QNetworkReply> reply(network_->get(QNetworkRequest(studio_->url(u"/moved.txt"_s))));
    QSignalSpy finished(reply.get(), &QNetworkReply::finished);
    QVERIFY(finished.wait(patienceMs));
    QCOMPARE(reply->readAll(), "target");
}

void tst_StudioFaults::faultIgnoreRange()
{
    studio_->server().addFault(u"/digits.txt"_s, {.kind = Fault::IgnoreRange});
    const RawReply reply = exchange("GET", "/digits.txt", "Range: bytes=4-\r\n");
    QCOMPARE(reply.status, 200);
    QCOMPARE(reply.body, "0123456789");
    QVERIFY(!reply.headers.contains("content-range"));
    QCOMPARE(exchange("GET", "/digits.txt", "Range: bytes=99-\r\n").status, 200);
}

void tst_StudioFaults::faultRangeRefused()
{
    studio_->server().addFault(u"/digits.txt"_s, {.kind = Fault::RangeRefused});
    for (const char *range : {"bytes=4-", "bytes=0-", "bytes=1-2,4-5"}) {
        const RawReply reply = exchange("GET", "/digits.txt", "Range: " + QByteArray(range) + "\r\n");
        QCOMPARE(reply.status, 416);
        QCOMPARE(reply.headers.value("content-range"), "bytes */10");
    }
}

void tst_StudioFaults::faultWrongRange()
{
    studio_->server().addFault(u"/digits.txt"_s, {.kind = Fault::WrongRange});
    const RawReply reply = exchange("GET", "/digits.txt", "Range: bytes=4-\r\n");
    QCOMPARE(reply.status, 206);
    QCOMPARE(reply.headers.value("content-range"), "bytes 0-5/10");
    QCOMPARE(reply.body, "012345");
}

void tst_StudioFaults::rangeFaultsLeaveOtherRequestsAlone_data()
{
    QTest::addColumn<Fault::Kind>("kind");

    QTest::newRow("IgnoreRange") << Fault::IgnoreRange;
    QTest::newRow("RangeRefused") << Fault::RangeRefused;
    QTest::newRow("WrongRange") << Fault::WrongRange;
}

void tst_StudioFaults::rangeFaultsLeaveOtherRequestsAlone()
{
    QFETCH(const Fault::Kind, kind);
    studio_->server().addFault(u"/digits.txt"_s, {.kind = kind});
    studio_->server().addFault(u"/missing"_s, {.kind = kind});
    const RawReply reply = exchange("GET", "/digits.txt");
    QCOMPARE(reply.status, 200);
    QCOMPARE(reply.body, "0123456789");
    QCOMPARE(exchange("HEAD", "/digits.txt", "Range: bytes=1-\r\n").status, 200);
    QCOMPARE(exchange("GET", "/missing", "Range: bytes=1-\r\n").status, 404);
}

void tst_StudioFaults::faultCloseAfter_data()
{
    QTest::addColumn<QByteArray>("range");
    QTest::addColumn<qint64>("bytes");
    QTest::addColumn<QByteArray>("length");
    QTest::addColumn<QByteArray>("body");

    QTest::newRow("some") << ""_ba << 4LL << "10"_ba
                          << "0123"_ba;
    QTest::newRow("none") << ""_ba << 0LL << "10"_ba
                          << ""_ba;
    QTest::newRow("all") << ""_ba << 10LL << "10"_ba
                         << "0123456789"_ba;
    QTest::newRow("more than there are") << ""_ba << 99LL << "10"_ba
                                         << "0123456789"_ba;
    QTest::newRow("some of a range") << "Range: bytes=4-\r\n"_ba << 2LL << "6"_ba
                                     << "45"_ba;
}

void tst_StudioFaults::faultCloseAfter()
{
    QFETCH(const QByteArray, range);
    QFETCH(const qint64, bytes);
    QFETCH(const QByteArray, length);
    QFETCH(const QByteArray, body);
    studio_->server().addFault(u"/digits.txt"_s, {.kind = Fault::CloseAfter, .bytes = bytes});
    RawClient client(studio_->server().port());
    const RawReply reply = client.exchange("GET", "/digits.txt", range);
    QCOMPARE(reply.headers.value("content-length"), length);
    QCOMPARE(reply.headers.value("connection"), "keep-alive"); // it comes as a surprise
    QCOMPARE(reply.body, body);
    QVERIFY(client.waitForClose());
}

void tst_StudioFaults::faultCloseAfterReachesTheClientAsAnError()
{
    const QByteArray large(3'000'000, 'x');
    studio_->writeFile(u"/large"_s, large);
    studio_->server().addFault(u"/large"_s, {.kind = Fault::CloseAfter, .bytes = 1'234'567});
    const Answer answer = fetch(u"/large"_s);
    QCOMPARE(answer.error, QNetworkReply::RemoteHostClosedError);
    QCOMPARE(answer.status, 200);
    QCOMPARE(answer.body.size(), 1'234'567);
}

void tst_StudioFaults::faultStall()
{
    studio_->server().addFault(u"/digits.txt"_s, {.kind = Fault::Stall, .bytes = 3});
    RawClient client(studio_->server().port());
    client.request("GET", "/digits.txt");
    QByteArray received;
    while (!received.endsWith("\r\n\r\n012")) {
        const QByteArray more = client.readBytes(1);
        QVERIFY(!more.isEmpty());
        received += more;
    }
    QVERIFY(received.contains("Content-Length: 10\r\n"));
    client.request("GET", "/digits.txt"); // of no interest to who has stalled
    QVERIFY(!client.socket().waitForReadyRead(300));
    QCOMPARE(client.socket().state(), QAbstractSocket::ConnectedState);
    QCOMPARE(studio_->server().requests().size(), 1);
}

void tst_StudioFaults::faultCorrupt()
{
    QByteArray expected(300'000, 'x');
    studio_->writeFile(u"/large"_s, expected);
    for (const qint64 offset : {0LL, 131'072LL, 299'999LL}) {
        studio_->server().addFault(u"/large"_s, {.kind = Fault::Corrupt, .bytes = offset});
        expected[offset] = static_cast<char>(~'x');
    }
    studio_->server().addFault(u"/large"_s, {.kind = Fault::Corrupt, .bytes = 300'000}); // behind the end
    const Answer answer = fetch(u"/large"_s);
    QCOMPARE(answer.status, 200);
    QVERIFY(answer.body == expected);
}

void tst_StudioFaults::faultCorruptOfARange_data()
{
    QTest::addColumn<QByteArray>("range");
    QTest::addColumn<QByteArray>("body");

    QTest::newRow("inside") << "bytes=4-6"_ba
                            << "4\xca"
                               "6"_ba;
    QTest::newRow("first") << "bytes=5-6"_ba
                           << "\xca"
                              "6"_ba;
    QTest::newRow("before") << "bytes=6-"_ba
                            << "6789"_ba;
    QTest::newRow("behind") << "bytes=0-4"_ba
                            << "01234"_ba;
}

void tst_StudioFaults::faultCorruptOfARange()
{
    QFETCH(const QByteArray, range);
    QFETCH(const QByteArray, body);
    studio_->server().setDocument(u"/doc"_s, "0123456789");
    for (const QString &path : {u"/digits.txt"_s, u"/doc"_s}) {
        studio_->server().addFault(path, {.kind = Fault::Corrupt, .bytes = 5});
        QCOMPARE(fetch(path, range).body, body);
    }
    QCOMPARE(studio_->readFile(u"/digits.txt"_s), "0123456789");
}

void tst_StudioFaults::faultLengthOffset_data()
{
    QTest::addColumn<qint64>("bytes");
    QTest::addColumn<QByteArray>("length");

    QTest::newRow("more") << 5LL << "15"_ba;
    QTest::newRow("less") << -4LL << "6"_ba;
    QTest::newRow("less than nothing") << -40LL << "0"_ba;
}

void tst_StudioFaults::faultLengthOffset()
{
    QFETCH(const qint64, bytes);
    QFETCH(const QByteArray, length);
    studio_->server().addFault(u"/digits.txt"_s, {.kind = Fault::LengthOffset, .bytes = bytes});
    RawClient client(studio_->server().port());
    QElapsedTimer time;
    time.start();
    client.request("GET", "/digits.txt");
    bool closed = false;
    const QByteArray received = client.readToEnd(closed);
    QVERIFY(closed);
    QVERIFY2(time.elapsed() >= 240, qPrintable(QString::number(time.elapsed()))); // the body alone comes first
    QVERIFY(received.contains(QByteArray("\r\nContent-Length: " + length + "\r\n")));
    QVERIFY(received.endsWith("\r\n\r\n0123456789"));
    QCOMPARE(exchange("HEAD", "/digits.txt").headers.value("content-length"), length);
}

void tst_StudioFaults::bodyFaultsLeaveHeadAlone_data()
{
    QTest::addColumn<Fault::Kind>("kind");

    QTest::newRow("CloseAfter") << Fault::CloseAfter;
    QTest::newRow("Stall") << Fault::Stall;
    QTest::newRow("LengthOffset") << Fault::LengthOffset;
}

void tst_StudioFaults::bodyFaultsLeaveHeadAlone()
{
    QFETCH(const Fault::Kind, kind);
    studio_->server().addFault(u"/digits.txt"_s, {.kind = kind});
    studio_->server().addFault(u"/empty"_s, {.kind = Fault::Status, .status = 204});
    studio_->server().addFault(u"/empty"_s, {.kind = kind});
    RawClient client(studio_->server().port());
    QCOMPARE(client.exchange("HEAD", "/digits.txt").status, 200);
    QCOMPARE(client.exchange("GET", "/empty").status, 204);
    QCOMPARE(client.exchange("GET", "/missing").status, 404); // on the same connection
}

void tst_StudioFaults::faultsAddUp()
{
    studio_->server().addFault(u"/digits.txt"_s, {.kind = Fault::IgnoreRange});
    studio_->server().addFault(u"/digits.txt"_s, {.kind = Fault::Corrupt, .bytes = 1});
    studio_->server().addFault(u"/digits.txt"_s, {.kind = Fault::LengthOffset, .bytes = 7});
    studio_->server().addFault(u"/digits.txt"_s, {.kind = Fault::CloseAfter, .bytes = 3});
    RawClient client(studio_->server().port());
    const RawReply reply = client.exchange("GET", "/digits.txt", "Range: bytes=4-\r\n");
    QCOMPARE(reply.status, 200);
    QCOMPARE(reply.headers.value("content-length"), "17");
    QCOMPARE(reply.body, "0\xce"
                         "2"_ba);
    QVERIFY(client.waitForClose());

    studio_->server().addFault(u"/missing"_s, {.kind = Fault::Status, .status = 503});
    studio_->server().addFault(u"/missing"_s, {.kind = Fault::CloseAfter, .bytes = 3});
    RawClient other(studio_->server().port());
    QCOMPARE(other.exchange("GET", "/missing").body, "503");
}

void tst_StudioFaults::firstOfExcludingFaultsDecides()
{
    studio_->server().addFault(u"/digits.txt"_s, {.kind = Fault::RangeRefused});
    studio_->server().addFault(u"/digits.txt"_s, {.kind = Fault::Redirect, .location = u"/elsewhere"_s});
    studio_->server().addFault(u"/digits.txt"_s, {.kind = Fault::Status, .status = 503});
    studio_->server().addFault(u"/digits.txt"_s, {.kind = Fault::IgnoreRange});
    QCOMPARE(exchange("GET", "/digits.txt", "Range: bytes=4-\r\n").status, 416);
    QCOMPARE(exchange("GET", "/digits.txt").status, 302);

    studio_->server().setDocument(u"/doc"_s, "0123456789");
    studio_->server().addFault(u"/doc"_s, {.kind = Fault::CloseAfter, .bytes = 5});
    studio_->server().addFault(u"/doc"_s, {.kind = Fault::Stall, .bytes = 2});
    RawClient client(studio_->server().port());
    QCOMPARE(client.exchange("GET", "/doc").body, "01234");
    QVERIFY(client.waitForClose());
}

void tst_StudioFaults::clearedFaultsAreGoneAndTheCountAnew()
{
    studio_->server().addFault(u"/digits.txt"_s, {.kind = Fault::Status, .status = 503});
    QCOMPARE(exchange("GET", "/digits.txt").status, 503);
    studio_->server().clearFaults();
    QCOMPARE(exchange("GET", "/digits.txt").status, 200);
    QCOMPARE(studio_->server().requests().constLast().attempt, 1);
    studio_->server().addFault(u"/digits.txt"_s,
                               {.kind = Fault::Status, .status = 503, .firstAttempt = 2, .lastAttempt = 2});
    QCOMPARE(exchange("GET", "/digits.txt").status, 503);
    QCOMPARE(exchange("GET", "/digits.txt").status, 200);
}

int main(int argc, char **argv)
{
    return velmo::test::runTest<tst_StudioFaults>(argc, argv);
}

#include "tst_StudioFaults.moc"
