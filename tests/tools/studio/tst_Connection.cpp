#include "studio/Connection.h"

#include "studio/Site.h"
#include "support/TestEnvironment.h"

#include <QElapsedTimer>
#include <QFile>
#include <QPointer>
#include <QSignalSpy>
#include <QSslConfiguration>
#include <QSslKey>
#include <QSslServer>
#include <QSslSocket>
#include <QTemporaryDir>

#include <chrono>

using namespace Qt::Literals::StringLiterals;
using namespace std::chrono_literals;
using velmo::studio::Connection;
using velmo::studio::Request;
using velmo::studio::Site;

/// Client and server share this test's thread, so that both ends of the connection can be looked at.
class tst_Connection : public QObject {
    Q_OBJECT

private slots:
    void initTestCase();
    void init();
    void cleanup();

    void requestThatCameWithTheHandshakeIsAnswered();
    void requestIsAnnounced();
    void idleClientIsDismissed();
    void halfARequestDoesNotKeepAClient();
    void clientIsDismissedBehindAReply();
    void replyOnItsWayIsNotIdle();
    void clientThatDoesNotReadIsNotDismissed();
    void outputIsBoundedWhileTheClientDoesNotRead();
    void repliesAreBoundedWhileTheClientDoesNotRead();
    void shrunkenFileEndsTheConnection();
    void goesWhenTheClientGoes_data();
    void goesWhenTheClientGoes();

private:
    void connectClient(std::chrono::milliseconds idleTimeout);
    void request(const QByteArray &method, const QByteArray &target);
    QString makeFile(qint64 size);

    std::unique_ptr<QTemporaryDir> tree_;
    std::unique_ptr<Site> site_;
    std::unique_ptr<QSslServer> server_;
    std::unique_ptr<QSslSocket> client_;
    QPointer<QSslSocket> serverSide_;
    QPointer<Connection> connection_;
};

namespace {

constexpr std::chrono::milliseconds never = 1h;
constexpr std::chrono::milliseconds soon = 1s; // but not before a busy machine has done what takes no time
constexpr int patienceMs = 60'000;
constexpr qint64 boundBytes = 512LL * 1024;

QSslConfiguration serverConfiguration()
{
    QFile chain(u":/certificates/server-chain.pem"_s);
    QFile key(u":/certificates/server.key"_s);
    QSslConfiguration configuration = QSslConfiguration::defaultConfiguration();
    if (chain.open(QIODevice::ReadOnly) && key.open(QIODevice::ReadOnly)) {
        configuration.setLocalCertificateChain(QSslCertificate::fromDevice(&chain));
        configuration.setPrivateKey(QSslKey(&key, QSsl::Rsa));
    }
    return configuration;
}

} // namespace

void tst_Connection::connectClient(std::chrono::milliseconds idleTimeout)
{
    QSignalSpy arrived(server_.get(), &QSslServer::pendingConnectionAvailable);
    client_->connectToHostEncrypted(u"127.0.0.1"_s, server_->serverPort());
    QVERIFY(arrived.wait());
    serverSide_ = qobject_cast<QSslSocket *>(server_->nextPendingConnection());
    QVERIFY(serverSide_);
    connection_ = new Connection(serverSide_, site_.get(), idleTimeout, server_.get());
    QTRY_VERIFY(client_->isEncrypted());
}

void tst_Connection::request(const QByteArray &method, const QByteArray &target)
{
    client_->write(method + ' ' + target + " HTTP/1.1\r\nHost: a\r\n\r\n");
}

QString tst_Connection::makeFile(qint64 size)
{
    QFile file(tree_->filePath(u"file"_s));
    return file.open(QIODevice::WriteOnly) && file.resize(size) ? file.fileName() : QString();
}

void tst_Connection::initTestCase()
{
    velmo::test::trustTestAuthority();
}

void tst_Connection::init()
{
    tree_ = std::make_unique<QTemporaryDir>();
    site_ = std::make_unique<Site>();
    site_->open(tree_->path());
    site_->setDocument(u"/doc"_s, "document", "text/plain");
    server_ = std::make_unique<QSslServer>();
    server_->setSslConfiguration(serverConfiguration());
    QVERIFY(server_->listen(QHostAddress::LocalHost));
    client_ = std::make_unique<QSslSocket>();
}

void tst_Connection::cleanup()
{
    client_.reset();
    server_.reset();
    site_.reset();
    tree_.reset();
}

void tst_Connection::requestThatCameWithTheHandshakeIsAnswered()
{
    QSignalSpy arrived(server_.get(), &QSslServer::pendingConnectionAvailable);
    client_->connectToHostEncrypted(u"127.0.0.1"_s, server_->serverPort());
    const QByteArray request = "GET /doc HTTP/1.1\r\nHost: a\r\n\r\n";
    client_->write(request);
    QVERIFY(arrived.wait());
    serverSide_ = qobject_cast<QSslSocket *>(server_->nextPendingConnection());
    QTRY_COMPARE(serverSide_->bytesAvailable(), request.size()); // announced to nobody
    QTRY_COMPARE(serverSide_->encryptedBytesToWrite(), 0);
    connection_ = new Connection(serverSide_, site_.get(), never, server_.get());
    QTRY_VERIFY(client_->peek(10'000).endsWith("\r\n\r\ndocument"));
}

void tst_Connection::requestIsAnnounced()
{
    connectClient(never);
    QList<Request> announced;
    qint64 sentBefore = -1;
    connect(connection_, &Connection::answered, this, [&](const Request &answered) {
        announced.append(answered);
        sentBefore = serverSide_->bytesToWrite();
    });
    request("GET", "/doc?query");
    QTRY_VERIFY(client_->bytesAvailable() > 0);
    QCOMPARE(announced.size(), 1);
    QCOMPARE(announced.constFirst().path, u"/doc"_s);
    QCOMPARE(announced.constFirst().status, 200);
    QCOMPARE(sentBefore, 0);
}

void tst_Connection::idleClientIsDismissed()
{
    QElapsedTimer time;
    time.start();
    connectClient(soon);
    QTRY_COMPARE_WITH_TIMEOUT(client_->state(), QAbstractSocket::UnconnectedState, patienceMs);
    QVERIFY2(time.elapsed() >= 990, qPrintable(QString::number(time.elapsed())));
    QTRY_VERIFY(!connection_);
}

void tst_Connection::halfARequestDoesNotKeepAClient()
{
    connectClient(soon);
    client_->write("GET /doc HTTP/1.1\r\nHost");
    QTRY_COMPARE_WITH_TIMEOUT(client_->state(), QAbstractSocket::UnconnectedState, patienceMs);
    QCOMPARE(client_->bytesAvailable(), 0);
}

void tst_Connection::clientIsDismissedBehindAReply()
{
    connectClient(soon);
    request("GET", "/doc");
    QTRY_VERIFY(client_->peek(10'000).endsWith("document"));
    QCOMPARE(client_->state(), QAbstractSocket::ConnectedState);
    QTRY_COMPARE_WITH_TIMEOUT(client_->state(), QAbstractSocket::UnconnectedState, patienceMs);
}

void tst_Connection::replyOnItsWayIsNotIdle()
{
    site_->setDocument(u"/large"_s, QByteArray(200'000, 'x'), "text/plain");
    site_->setBytesPerSecond(100'000);
    connectClient(soon);
    request("GET", "/large");
    QTRY_VERIFY_WITH_TIMEOUT(client_->bytesAvailable() > 200'000, patienceMs); // takes two seconds
    QTRY_COMPARE_WITH_TIMEOUT(client_->state(), QAbstractSocket::UnconnectedState, patienceMs);
}

void tst_Connection::clientThatDoesNotReadIsNotDismissed()
{
    constexpr qint64 size = 20'000'000;
    site_->setFile(u"/file"_s, makeFile(size));
    client_->setReadBufferSize(1'000);
    connectClient(soon);
    request("GET", "/file");
    QTRY_VERIFY(client_->bytesAvailable() > 0);
    QTest::qWait(1'500);
    QCOMPARE(serverSide_->state(), QAbstractSocket::ConnectedState);
    client_->setReadBufferSize(0);
    QTRY_VERIFY_WITH_TIMEOUT(client_->bytesAvailable() > size, patienceMs);
}

void tst_Connection::outputIsBoundedWhileTheClientDoesNotRead()
{
    constexpr qint64 size = 60'000'000;
    site_->setFile(u"/file"_s, makeFile(size));
    client_->setReadBufferSize(1'000);
    connectClient(never);
    qint64 most = 0;
    const auto look = [this, &most] {
        most = std::max(most, serverSide_->bytesToWrite() + serverSide_->encryptedBytesToWrite());
    };
    connect(serverSide_, &QSslSocket::encryptedBytesWritten, this, look);
    request("GET", "/file");
    QTRY_VERIFY(client_->bytesAvailable() > 0);
    client_->setReadBufferSize(0);
    QTRY_VERIFY_WITH_TIMEOUT(client_->bytesAvailable() > size, patienceMs);
    QVERIFY(most > 0);
    QVERIFY2(most <= boundBytes, qPrintable(QString::number(most)));
}

void tst_Connection::repliesAreBoundedWhileTheClientDoesNotRead()
{
    constexpr int count = 60'000;
    client_->setReadBufferSize(1'000);
    connectClient(never);
    int answered = 0;
    qint64 most = 0;
    connect(connection_, &Connection::answered, this, [&] {
        ++answered;
        most = std::max(most, serverSide_->bytesToWrite() + serverSide_->encryptedBytesToWrite());
    });
    client_->write(QByteArray("HEAD /doc HTTP/1.1\r\nHost: a\r\n\r\n").repeated(count));
    QTRY_VERIFY(answered > 0);
    connect(client_.get(), &QSslSocket::readyRead, this, [this] { client_->readAll(); });
    client_->setReadBufferSize(0);
    client_->readAll();
    QTRY_COMPARE_WITH_TIMEOUT(answered, count, patienceMs);
    QVERIFY2(most <= boundBytes, qPrintable(QString::number(most)));
}

void tst_Connection::shrunkenFileEndsTheConnection()
{
    constexpr qint64 size = 40'000'000;
    const QString name = makeFile(size);
    site_->setFile(u"/file"_s, name);
    client_->setReadBufferSize(1'000);
    connectClient(never);
    request("GET", "/file");
    QTRY_VERIFY(client_->bytesAvailable() > 0);
    QVERIFY(QFile::resize(name, 1'000));
    client_->setReadBufferSize(0);
    QTRY_COMPARE_WITH_TIMEOUT(client_->state(), QAbstractSocket::UnconnectedState, patienceMs);
    QVERIFY(client_->bytesAvailable() < size);
    QTRY_VERIFY(!connection_);
}

void tst_Connection::goesWhenTheClientGoes_data()
{
    QTest::addColumn<QByteArray>("target");

    QTest::newRow("while idle") << QByteArray();
    QTest::newRow("in the middle of a reply") << "/file"_ba;
    QTest::newRow("behind a stalled reply") << "/doc"_ba;
}

void tst_Connection::goesWhenTheClientGoes()
{
    QFETCH(const QByteArray, target);
    site_->addFault(u"/doc"_s, {.kind = velmo::studio::Fault::Stall});
    site_->setFile(u"/file"_s, makeFile(60'000'000));
    client_->setReadBufferSize(1'000);
    connectClient(never);
    if (!target.isEmpty()) {
        request("GET", target);
        QTRY_VERIFY(client_->bytesAvailable() > 0);
    }
    client_->abort();
    QTRY_VERIFY(!connection_);
    QVERIFY(!serverSide_);
}

int main(int argc, char **argv)
{
    return velmo::test::runTest<tst_Connection>(argc, argv);
}

#include "tst_Connection.moc"
