#include "publish/LiveServer.h"
#include "support/TestEnvironment.h"
#include "support/TestStudio.h"

#include <QElapsedTimer>

using namespace Qt::Literals::StringLiterals;
using namespace std::chrono_literals;
using velmo::publish::LiveReply;
using velmo::publish::LiveRequest;
using velmo::publish::LiveServer;
using velmo::studio::Fault;
using velmo::test::TestStudio;

class tst_LiveServer : public QObject {
    Q_OBJECT

private slots:
    void init();
    void cleanup() { studio_.reset(); }

    void answerHasAllThatCame();
    void statusIsAnAnswer();
    void longBodyIsCutOff();
    void bodyIsTakenPieceByPiece();
    void boundBeyondAllMemoryCostsNone();
    void headEndsTheAnswerWhereNoBodyIsWanted();
    void redirectIsFollowedUnlessItIsInsecure();
    void failureOfAnotherRequestIsNone();
    void silentServerIsGivenUp();
    void trickleIsGivenUp();

private:
    LiveRequest request(const QString &path, qint64 mostBytes) const;

    std::unique_ptr<TestStudio> studio_;
};

void tst_LiveServer::init()
{
    studio_ = std::make_unique<TestStudio>();
    studio_->writeFile(u"/digits"_s, "0123456789");
    studio_->writeFile(u"/long"_s, QByteArray(3'000'000, 'l'));
}

LiveRequest tst_LiveServer::request(const QString &path, qint64 mostBytes) const
{
    LiveRequest request{studio_->url(path)};
    request.mostBytes = mostBytes;
    return request;
}

void tst_LiveServer::answerHasAllThatCame()
{
    LiveRequest asked = request(u"/digits"_s, 10);
    asked.headers = {{"Range", "bytes=2-3"}};
    LiveServer server({});
    const LiveReply reply = server.answerTo(asked);
    QCOMPARE(reply.reason, QString());
    QCOMPARE(reply.status, 206);
    QCOMPARE(reply.body, QByteArray("23"));
    QCOMPARE(reply.header("content-range"), QByteArray("bytes 2-3/10"));
    QCOMPARE(reply.header("X-None"), QByteArray());
    QVERIFY(!reply.isTooLong);
    QCOMPARE(server.peers().size(), 1);
    QCOMPARE(server.peers().first().certificates.size(), 2);
    QCOMPARE(studio_->server().requests().first().headers.value("user-agent"), QByteArray("velmo-publish"));
}

void tst_LiveServer::statusIsAnAnswer()
{
    for (const int status : {404, 503}) {
        Fault fault;
        fault.status = status;
        studio_->server().clearFaults();
        studio_->server().addFault(u"/digits"_s, fault);
        const LiveReply reply = LiveServer({}).answerTo(request(u"/digits"_s, 1000));
        QCOMPARE(reply.status, status);
        QCOMPARE(reply.reason, QString());
    }
}

void tst_LiveServer::longBodyIsCutOff()
{
    const LiveReply fits = LiveServer({}).answerTo(request(u"/digits"_s, 10));
    QVERIFY(!fits.isTooLong);
    QCOMPARE(fits.body.size(), 10);
    for (const QString &path : {u"/digits"_s, u"/long"_s}) {
        const LiveReply reply = LiveServer({}).answerTo(request(path, 9));
        QVERIFY(reply.isTooLong);
        QCOMPARE(reply.status, 200);
        QVERIFY(reply.body.size() <= 9);
    }
}

void tst_LiveServer::bodyIsTakenPieceByPiece()
{
    qsizetype pieces = 0;
    qsizetype bytes = 0;
    LiveRequest asked = request(u"/long"_s, 3'000'000);
    asked.body = LiveRequest::Body::Taken;
    asked.take = [&pieces, &bytes](const QByteArray &piece) {
        ++pieces;
        bytes += piece.size();
    };
    const LiveReply reply = LiveServer({}).answerTo(asked);
    QCOMPARE(reply.reason, QString());
    QCOMPARE(bytes, 3'000'000);
    QVERIFY(pieces > 2);
    QCOMPARE(reply.body, QByteArray());
}

/// As of a file that is larger than this machine's memory.
void tst_LiveServer::boundBeyondAllMemoryCostsNone()
{
    const LiveReply reply = LiveServer({}).answerTo(request(u"/digits"_s, qint64{1} << 50));
    QCOMPARE(reply.reason, QString());
    QCOMPARE(reply.body, QByteArray("0123456789"));
}

void tst_LiveServer::headEndsTheAnswerWhereNoBodyIsWanted()
{
    Fault stall;
    stall.kind = Fault::Stall;
    stall.bytes = 1;
    studio_->server().addFault(u"/digits"_s, stall);
    LiveRequest asked = request(u"/digits"_s, 10);
    asked.body = LiveRequest::Body::Ignored;
    const LiveReply reply = LiveServer({}).answerTo(asked);
    QCOMPARE(reply.status, 200);
    QCOMPARE(reply.reason, QString());
    QCOMPARE(reply.header("Content-Length"), QByteArray("10"));
}

void tst_LiveServer::redirectIsFollowedUnlessItIsInsecure()
{
    Fault redirect;
    redirect.kind = Fault::Redirect;
    redirect.location = u"/digits"_s;
    studio_->server().addFault(u"/safe"_s, redirect);
    redirect.location = u"http://127.0.0.1/digits"_s;
    studio_->server().addFault(u"/unsafe"_s, redirect);
    LiveRequest asked = request(u"/safe"_s, 100);
    QCOMPARE(LiveServer({}).answerTo(asked).body, QByteArray("0123456789"));
    asked.body = LiveRequest::Body::Ignored;
    QCOMPARE(LiveServer({}).answerTo(asked).status, 200);
    const LiveReply reply = LiveServer({}).answerTo(request(u"/unsafe"_s, 100));
    QVERIFY(reply.isInsecure);
    QCOMPARE(reply.status, 0);
    QVERIFY(!reply.reason.isEmpty());
}

void tst_LiveServer::failureOfAnotherRequestIsNone()
{
    constexpr int connections = 6; // that Qt has to a server
    Fault fault;
    fault.kind = Fault::Stall;
    fault.bytes = 1;
    studio_->server().addFault(u"/long"_s, fault);
    fault.kind = Fault::CloseAfter;
    studio_->server().addFault(u"/cut"_s, fault);
    studio_->writeFile(u"/cut"_s, "cut");
    QList<LiveReply> replies;
    LiveServer server({});
    for (int connection = 1; connection < connections; ++connection) {
        server.ask(request(u"/long"_s, 10), [](const LiveReply &) {});
    }
    server.ask(request(u"/cut"_s, 10), [&replies](const LiveReply &reply) { replies.append(reply); });
    for (int waiting = 0; waiting < 3; ++waiting) {
        server.ask(request(u"/digits"_s, 10), [&replies](const LiveReply &reply) { replies.append(reply); });
    }
    QTRY_COMPARE(replies.size(), 4);
    QVERIFY(!replies.takeFirst().reason.isEmpty());
    for (const LiveReply &reply : replies) {
        QCOMPARE(reply.reason, QString());
        QCOMPARE(reply.body, QByteArray("0123456789"));
    }
}

void tst_LiveServer::silentServerIsGivenUp()
{
    Fault stall;
    stall.kind = Fault::Stall;
    stall.bytes = 1;
    studio_->server().addFault(u"/digits"_s, stall);
    LiveServer server({});
    server.setLimits(200ms, 1h);
    const LiveReply reply = server.answerTo(request(u"/digits"_s, 10));
    QCOMPARE(reply.reason, u"It takes too long"_s);
}

void tst_LiveServer::trickleIsGivenUp()
{
    studio_->server().setBytesPerSecond(1000); // far from silence, and from ever coming to an end
    LiveServer server({});
    server.setLimits(1h, 500ms);
    LiveRequest asked = request(u"/long"_s, 10'000);
    const LiveReply reply = server.answerTo(asked);
    QCOMPARE(reply.reason, u"It takes too long"_s);
}

int main(int argc, char **argv)
{
    return velmo::test::runTest<tst_LiveServer>(argc, argv);
}

#include "tst_LiveServer.moc"
