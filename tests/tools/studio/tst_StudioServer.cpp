#include "studio/StudioServer.h"

#include "StudioTest.h"
#include "support/TestEnvironment.h"

#include <QElapsedTimer>
#include <QFile>
#include <QTcpServer>
#include <QTcpSocket>

#include <atomic>
#include <functional>
#include <thread>
#include <vector>

using namespace Qt::Literals::StringLiterals;
using velmo::studio::Fault;
using velmo::studio::Request;
using velmo::studio::StudioServer;
using namespace velmo::test;

namespace {

constexpr int patienceMs = 60'000;

} // namespace

/// How the studio comes and goes, keeps its connections, and shares itself out among clients.
class tst_StudioServer : public StudioTest {
    Q_OBJECT

private slots:
    void isRunningBetweenStartAndStop();
    void startsAtThePortThatIsAskedFor();
    void listensOnOneAddressAlone();
    void startSaysWhyItFails_data();
    void startSaysWhyItFails();
    void startFailsAtATakenPort();
    void secondStartFailsAndChangesNothing();
    void startsAgainAfterStop();
    void restartedTestStudioKeepsItsPort();
    void urlEncodesThePath();
    void servesDocumentsWithoutATree();

    void connectionIsKeptForTheNextRequest();
    void pipelinedRequestsAreAnsweredInOrder();
    void connectionClosesWhenAsked_data();
    void connectionClosesWhenAsked();
    void manyClientsAreServedAtOnce();

    void requestsAreRecorded();
    void requestsOfOnePathAreTold();
    void requestsAreForgottenOnDemand();
    void attemptsAreCountedByPath();
    void attemptsBeginAnewWithStart();

    void slowClientDoesNotHoldUpOthers();
    void rateBoundsAConnection();
    void rateCanBeLiftedWhileAReplyIsOnItsWay();
    void rateCanBeSetWhileAReplyIsOnItsWay();
    void rateIsOfEachConnection();
    void stopDoesNotWaitForAStalledConnection();
    void stopDoesNotWaitForAClientThatDoesNotRead();
    void stopDoesNotWaitForAnUnfinishedHandshake();
    void everyFunctionMayBeCalledWhileRequestsAreServed();
};

void tst_StudioServer::isRunningBetweenStartAndStop()
{
    StudioServer server;
    QVERIFY(!server.isRunning());
    QCOMPARE(server.port(), quint16(0));
    server.stop();
    QCOMPARE(server.start(TestStudio::loopbackOptions()), QString());
    QVERIFY(server.isRunning());
    QVERIFY(server.port() != 0);
    server.stop();
    QVERIFY(!server.isRunning());
    QCOMPARE(server.port(), quint16(0));
    server.stop();
}

void tst_StudioServer::startsAtThePortThatIsAskedFor()
{
    StudioServer::Options options = TestStudio::loopbackOptions();
    options.port = studio_->server().port();
    studio_->server().stop();
    StudioServer server;
    QCOMPARE(server.start(options), QString());
    QCOMPARE(server.port(), options.port);
}

void tst_StudioServer::listensOnOneAddressAlone()
{
    QTcpSocket socket;
    socket.connectToHost(u"127.0.0.1"_s, studio_->server().port());
    QVERIFY(socket.waitForConnected(patienceMs));
    socket.abort();
    socket.connectToHost(u"127.0.0.2"_s, studio_->server().port());
    QVERIFY(!socket.waitForConnected(patienceMs));
    QCOMPARE(socket.error(), QAbstractSocket::ConnectionRefusedError);
}

void tst_StudioServer::startSaysWhyItFails_data()
{
    QTest::addColumn<QByteArray>("chain");
    QTest::addColumn<QByteArray>("key");
    QTest::addColumn<QString>("root");
    QTest::addColumn<QString>("reason");

    const QByteArray chain = TestStudio::loopbackOptions().certificateChain;
    const QByteArray key = TestStudio::loopbackOptions().privateKey;
    QTest::newRow("no certificate") << QByteArray() << key << QString()
                                    << u"the certificate chain holds no PEM certificate"_s;
    QTest::newRow("no key") << chain << QByteArray() << QString() << u"the private key is no unencrypted PEM key"_s;
    QTest::newRow("certificate for a key")
        << chain << chain << QString() << u"the private key is no unencrypted PEM key"_s;
    QTest::newRow("no folder") << chain << key << u"/nowhere/at/all"_s << u"there is no folder /nowhere/at/all"_s;
}

void tst_StudioServer::startSaysWhyItFails()
{
    QFETCH(const QByteArray, chain);
    QFETCH(const QByteArray, key);
    QFETCH(const QString, root);
    QFETCH(const QString, reason);
    StudioServer::Options options;
    options.certificateChain = chain;
    options.privateKey = key;
    options.root = root;
    StudioServer server;
    for (int attempt = 0; attempt < 2; ++attempt) {
        QCOMPARE(server.start(options), QDir::toNativeSeparators(reason));
        QVERIFY(!server.isRunning());
    }
    QCOMPARE(server.start(TestStudio::loopbackOptions()), QString()); // a failure does not stick
}

void tst_StudioServer::startFailsAtATakenPort()
{
    QTcpServer squatter;
    QVERIFY(squatter.listen(QHostAddress::LocalHost));
    StudioServer::Options options = TestStudio::loopbackOptions();
    options.port = squatter.serverPort();
    StudioServer server;
    const QString problem = server.start(options);
    QVERIFY2(problem.startsWith(u"cannot listen on port %1: "_s.arg(options.port)), qPrintable(problem));
    QVERIFY(!server.isRunning());
}

void tst_StudioServer::secondStartFailsAndChangesNothing()
{
    const quint16 port = studio_->server().port();
    QCOMPARE(studio_->server().start(TestStudio::loopbackOptions()), u"the studio is already running"_s);
    QCOMPARE(studio_->server().port(), port);
    QCOMPARE(fetch(u"/digits.txt"_s).body, "0123456789");
}

void tst_StudioServer::startsAgainAfterStop()
{
    StudioServer server;
    server.setDocument(u"/a"_s, "kept");
    for (int round = 0; round < 3; ++round) {
        QCOMPARE(server.start(TestStudio::loopbackOptions()), QString());
        RawClient client(server.port());
        QCOMPARE(client.exchange("GET", "/a").body, "kept");
        server.stop();
        QVERIFY(client.waitForClose());
    }
}

void tst_StudioServer::restartedTestStudioKeepsItsPort()
{
    const quint16 port = studio_->server().port();
    RawClient client(port);
    QVERIFY(client.isConnected());
    studio_->restart();
    QVERIFY(client.waitForClose());
    QCOMPARE(studio_->server().port(), port);
    QCOMPARE(fetch(u"/digits.txt"_s).body, "0123456789");
}

void tst_StudioServer::urlEncodesThePath()
{
    const QString base = u"https://127.0.0.1:%1"_s.arg(studio_->server().port());
    QCOMPARE(studio_->server().url(u"/a/b"_s).toString(QUrl::FullyEncoded), QString(base + u"/a/b"_s));
    QCOMPARE(studio_->server().url(u"/a b%20?#ä"_s).toString(QUrl::FullyEncoded),
             QString(base + u"/a%20b%2520%3F%23%C3%A4"_s));
    studio_->writeFile(u"/a b%20?#ä"_s, "odd");
    QCOMPARE(fetch(u"/a b%20?#ä"_s).body, "odd");
}

void tst_StudioServer::servesDocumentsWithoutATree()
{
    StudioServer server;
    QCOMPARE(server.start(TestStudio::loopbackOptions()), QString());
    server.setDocument(u"/api/v1/news"_s, "[]");
    RawClient client(server.port());
    QCOMPARE(client.exchange("GET", "/api/v1/news").body, "[]");
    QCOMPARE(client.exchange("GET", "/etc/hostname").status, 404);
    QCOMPARE(client.exchange("GET", "/").status, 404);
}

void tst_StudioServer::connectionIsKeptForTheNextRequest()
{
    RawClient client(studio_->server().port());
    for (int round = 0; round < 5; ++round) {
        const RawReply reply = client.exchange("GET", "/digits.txt");
        QCOMPARE(reply.body, "0123456789");
        QCOMPARE(reply.headers.value("connection"), "keep-alive");
        QCOMPARE(client.exchange("GET", "/missing").status, 404);
    }
}

void tst_StudioServer::pipelinedRequestsAreAnsweredInOrder()
{
    const QByteArray large(3'000'000, 'x');
    studio_->writeFile(u"/large"_s, large);
    RawClient client(studio_->server().port());
    QByteArray requests;
    for (const char *target : {"/digits.txt", "/missing", "/large", "/digits.txt"}) {
        requests += "GET " + QByteArray(target) + " HTTP/1.1\r\nHost: a\r\n\r\n";
    }
    client.write(requests.repeated(2));
    for (int round = 0; round < 2; ++round) {
        QCOMPARE(client.read().body, "0123456789");
        QCOMPARE(client.read().status, 404);
        QVERIFY(client.read().body == large);
        QCOMPARE(client.read().body, "0123456789");
    }
}

void tst_StudioServer::connectionClosesWhenAsked_data()
{
    QTest::addColumn<QByteArray>("request");

    QTest::newRow("close") << "GET /large HTTP/1.1\r\nHost: a\r\nConnection: close\r\n\r\n"_ba;
    QTest::newRow("1.0") << "GET /large HTTP/1.0\r\n\r\n"_ba;
}

void tst_StudioServer::connectionClosesWhenAsked()
{
    QFETCH(const QByteArray, request);
    const QByteArray large(3'000'000, 'x');
    studio_->writeFile(u"/large"_s, large);
    RawClient client(studio_->server().port());
    client.write(request);
    const RawReply reply = client.read();
    QCOMPARE(reply.headers.value("connection"), "close");
    QVERIFY(reply.body == large); // all of it, before the end
    QVERIFY(client.waitForClose());
}

void tst_StudioServer::manyClientsAreServedAtOnce()
{
    constexpr int count = 40;
    const QByteArray large(500'000, 'x');
    studio_->writeFile(u"/large"_s, large);
    std::vector<std::unique_ptr<RawClient>> clients;
    clients.reserve(count);
    for (int i = 0; i < count; ++i) {
        clients.push_back(std::make_unique<RawClient>(studio_->server().port()));
        QVERIFY(clients.back()->isConnected());
    }
    for (const auto &client : clients) {
        client->request("GET", "/large");
    }
    for (const auto &client : clients) {
        QVERIFY(client->read().body == large);
    }
}

void tst_StudioServer::requestsAreRecorded()
{
    RawClient client(studio_->server().port());
    client.exchange("GET", "/digits.txt?query", "X-Launcher: Velmo\r\n");
    client.exchange("HEAD", "/missing");
    client.exchange("POST", "/digits.txt");
    const QList<Request> requests = studio_->server().requests();
    QCOMPARE(requests.size(), 3);
    QCOMPARE(requests.at(0).method, "GET");
    QCOMPARE(requests.at(0).path, u"/digits.txt"_s);
    QCOMPARE(requests.at(0).headers.value("x-launcher"), "Velmo");
    QCOMPARE(requests.at(0).attempt, 1);
    QCOMPARE(requests.at(0).status, 200);
    QCOMPARE(requests.at(1).method, "HEAD");
    QCOMPARE(requests.at(1).status, 404);
    QCOMPARE(requests.at(2).method, "POST");
    QCOMPARE(requests.at(2).attempt, 2);
    QCOMPARE(requests.at(2).status, 405);
}

void tst_StudioServer::requestsOfOnePathAreTold()
{
    RawClient client(studio_->server().port());
    client.exchange("GET", "/digits.txt");
    client.exchange("GET", "/missing");
    client.exchange("GET", "/digits.txt", "Range: bytes=1-\r\n");
    const QList<Request> requests = studio_->server().requests(u"/digits.txt"_s);
    QCOMPARE(requests.size(), 2);
    QCOMPARE(requests.at(1).headers.value("range"), "bytes=1-");
    QCOMPARE(requests.at(1).status, 206);
}

void tst_StudioServer::requestsAreForgottenOnDemand()
{
    RawClient client(studio_->server().port());
    client.exchange("GET", "/digits.txt");
    studio_->server().clearRequests();
    QVERIFY(studio_->server().requests().isEmpty());
    client.exchange("GET", "/digits.txt");
    QCOMPARE(studio_->server().requests().size(), 1);
    QCOMPARE(studio_->server().requests().constFirst().attempt, 2); // the count goes on
}

void tst_StudioServer::attemptsAreCountedByPath()
{
    RawClient client(studio_->server().port());
    client.exchange("GET", "/a");
    client.exchange("GET", "/b");
    client.exchange("HEAD", "/a");
    client.exchange("GET", "/a?again");
    const QList<Request> requests = studio_->server().requests();
    QList<int> attempts;
    for (const Request &request : requests) {
        attempts.append(request.attempt);
    }
    QCOMPARE(attempts, QList<int>({1, 1, 2, 3}));
}

void tst_StudioServer::attemptsBeginAnewWithStart()
{
    studio_->server().addFault(u"/digits.txt"_s,
                               {.kind = Fault::Status, .status = 503, .firstAttempt = 1, .lastAttempt = 1});
    QCOMPARE(exchange("GET", "/digits.txt").status, 503);
    QCOMPARE(exchange("GET", "/digits.txt").status, 200);
    studio_->restart();
    QCOMPARE(exchange("GET", "/digits.txt").status, 503);
    QCOMPARE(studio_->server().requests().constLast().attempt, 1);
}

void tst_StudioServer::slowClientDoesNotHoldUpOthers()
{
    QFile file(studio_->root() + u"/large"_s);
    QVERIFY(file.open(QIODevice::WriteOnly));
    QVERIFY(file.resize(200'000'000));
    RawClient slow(studio_->server().port());
    slow.socket().setReadBufferSize(1'000);
    slow.request("GET", "/large");
    QVERIFY(slow.socket().waitForReadyRead(patienceMs)); // and reads no further
    for (int round = 0; round < 20; ++round) {
        QCOMPARE(fetch(u"/digits.txt"_s).body, "0123456789");
    }
    QVERIFY(slow.socket().bytesAvailable() > 0);
}

void tst_StudioServer::rateBoundsAConnection()
{
    studio_->writeFile(u"/large"_s, QByteArray(100'000, 'x'));
    studio_->server().setBytesPerSecond(200'000);
    QElapsedTimer time;
    time.start();
    QCOMPARE(fetch(u"/large"_s).body.size(), 100'000);
    QVERIFY2(time.elapsed() >= 450, qPrintable(QString::number(time.elapsed())));
    QVERIFY2(time.elapsed() < patienceMs, qPrintable(QString::number(time.elapsed())));
}

void tst_StudioServer::rateCanBeLiftedWhileAReplyIsOnItsWay()
{
    StudioServer::Options options;
    options.bytesPerSecond = 100;
    TestStudio throttled(options);
    throttled.writeFile(u"/large"_s, QByteArray(1'000'000, 'x')); // hours at that rate
    RawClient client(throttled.server().port());
    client.request("GET", "/large");
    const QByteArray begun = client.readBytes(1);
    QVERIFY(!begun.isEmpty());
    throttled.server().setBytesPerSecond(0);
    const QByteArray rest = client.readBytes(1'000'000);
    QVERIFY(rest.endsWith('x'));
    QVERIFY(begun.size() + rest.size() >= 1'000'000);
}

void tst_StudioServer::rateCanBeSetWhileAReplyIsOnItsWay()
{
    constexpr qint64 size = 200'000'000; // far more than fits between the studio and a client that does not read
    QFile file(studio_->root() + u"/large"_s);
    QVERIFY(file.open(QIODevice::WriteOnly));
    QVERIFY(file.resize(size));
    RawClient client(studio_->server().port());
    client.socket().setReadBufferSize(1'000);
    client.request("GET", "/large");
    QVERIFY(client.socket().waitForReadyRead(patienceMs));
    studio_->server().setBytesPerSecond(100);
    client.socket().setReadBufferSize(0);
    qint64 received = 0;
    QElapsedTimer time;
    time.start();
    while (time.elapsed() < 2'500) { // without a rate, long enough for all
        received += client.socket().readAll().size();
        client.socket().waitForReadyRead(100);
    }
    QVERIFY2(received < size / 10, qPrintable(QString::number(received)));
}

void tst_StudioServer::rateIsOfEachConnection()
{
    constexpr int count = 100;
    studio_->writeFile(u"/large"_s, QByteArray(50'000, 'x'));
    studio_->server().setBytesPerSecond(50'000);
    std::vector<std::unique_ptr<RawClient>> clients;
    clients.reserve(count);
    for (int i = 0; i < count; ++i) {
        clients.push_back(std::make_unique<RawClient>(studio_->server().port()));
    }
    QElapsedTimer time;
    time.start();
    for (const auto &client : clients) {
        client->request("GET", "/large");
    }
    for (const auto &client : clients) {
        QCOMPARE(client->read().body.size(), 50'000);
    }
    QVERIFY2(time.elapsed() < 50'000, qPrintable(QString::number(time.elapsed()))); // shared, it would be 100 000
}

void tst_StudioServer::stopDoesNotWaitForAStalledConnection()
{
    studio_->server().addFault(u"/digits.txt"_s, {.kind = Fault::Stall, .bytes = 3});
    RawClient client(studio_->server().port());
    client.request("GET", "/digits.txt");
    QVERIFY(client.socket().waitForReadyRead(patienceMs));
    QElapsedTimer time;
    time.start();
    studio_->server().stop();
    QVERIFY2(time.elapsed() < patienceMs, qPrintable(QString::number(time.elapsed())));
    bool closed = false;
    client.readToEnd(closed);
    QVERIFY(closed);
}

void tst_StudioServer::stopDoesNotWaitForAClientThatDoesNotRead()
{
    QFile file(studio_->root() + u"/large"_s);
    QVERIFY(file.open(QIODevice::WriteOnly));
    QVERIFY(file.resize(200'000'000));
    RawClient client(studio_->server().port());
    client.socket().setReadBufferSize(1'000);
    client.request("GET", "/large");
    QVERIFY(client.socket().waitForReadyRead(patienceMs));
    QElapsedTimer time;
    time.start();
    studio_->server().stop();
    QVERIFY2(time.elapsed() < patienceMs, qPrintable(QString::number(time.elapsed())));
}

void tst_StudioServer::stopDoesNotWaitForAnUnfinishedHandshake()
{
    QTcpSocket socket;
    socket.connectToHost(u"127.0.0.1"_s, studio_->server().port());
    QVERIFY(socket.waitForConnected(patienceMs));
    QCOMPARE(fetch(u"/digits.txt"_s).status, 200);
    QElapsedTimer time;
    time.start();
    studio_->server().stop();
    QVERIFY2(time.elapsed() < 30'000, qPrintable(QString::number(time.elapsed())));
    QVERIFY(socket.state() == QAbstractSocket::UnconnectedState || socket.waitForDisconnected(patienceMs));
}

void tst_StudioServer::everyFunctionMayBeCalledWhileRequestsAreServed()
{
    std::atomic<int> unsound = 0;
    std::vector<std::jthread> threads;
    const auto repeat = [&threads](const std::function<void()> &call) {
        threads.emplace_back([call](const std::stop_token &stop) {
            while (!stop.stop_requested()) {
                call();
            }
        });
    };
    StudioServer &server = studio_->server();
    repeat([&server] {
        server.setDocument(u"/doc"_s, "document");
        server.setDocument(u"/passing"_s, "document");
        server.removeDocument(u"/passing"_s);
    });
    repeat([&server] {
        server.addFault(u"/passing"_s, {.kind = Fault::Status, .status = 503});
        server.clearFaults();
        server.setBytesPerSecond(0);
    });
    repeat([&server, &unsound] {
        bool sound = server.isRunning() && server.url(u"/a"_s).port() == int(server.port());
        const QList<Request> requests = server.requests();
        for (const Request &request : requests) {
            sound = sound && request.path.startsWith(u'/') && request.attempt > 0;
        }
        server.clearRequests();
        if (!sound) {
            ++unsound;
        }
    });
    RawClient client(server.port());
    server.setDocument(u"/doc"_s, "document");
    for (int round = 0; round < 300; ++round) {
        QCOMPARE(client.exchange("GET", "/doc").body, "document");
        QCOMPARE(client.exchange("GET", "/digits.txt").body, "0123456789");
        const int passing = client.exchange("GET", "/passing").status;
        QVERIFY(passing == 200 || passing == 404 || passing == 503);
    }
    threads.clear();
    QCOMPARE(unsound, 0);
}

int main(int argc, char **argv)
{
    return velmo::test::runTest<tst_StudioServer>(argc, argv);
}

#include "tst_StudioServer.moc"
