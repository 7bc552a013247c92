// What our patches to the Windows packages' Qt hold off, met by Qt's own client. Debian's Qt lacks them.

#include "LoopbackPeer.h"
#include "support/TestEnvironment.h"

#include <QLocalServer>
#include <QLocalSocket>
#include <QNetworkAccessManager>
#include <QNetworkReply>
#include <QSignalSpy>
#include <QTcpSocket>
#include <QTest>

#include <memory>
#include <utility>

using namespace Qt::Literals::StringLiterals;
using velmo::test::LoopbackPeer;

class tst_OurQt : public QObject {
    Q_OBJECT

private slots:
    void initTestCase() { velmo::test::trustTestAuthority(); }
    void headerWithoutEndIsGivenUp_data();
    void headerWithoutEndIsGivenUp();
    void redirectToALocalSocketIsRefused();

private:
    QNetworkAccessManager network_;
};

void tst_OurQt::headerWithoutEndIsGivenUp_data()
{
    QTest::addColumn<QByteArray>("begin");
    QTest::newRow("status line") << QByteArray("HTTP/1.1 200 ");
    QTest::newRow("header") << QByteArray("HTTP/1.1 200 OK\r\nCache-Control: ");
    QTest::newRow("line before a chunk") << QByteArray("HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\n\r\n5;");
}

void tst_OurQt::headerWithoutEndIsGivenUp()
{
    QFETCH(QByteArray, begin);
    // Qt may ask once more, and is then told the truth: under Wine each byte of a header takes its time.
    QByteArray answer = begin + QByteArray(1024 * 1024, 'x');
    const LoopbackPeer::Answer once = [&answer](QTcpSocket *socket, const QByteArray &) {
        socket->write(std::exchange(answer, "HTTP/1.1 500 Error\r\nContent-Length: 0\r\n\r\n"));
    };
    LoopbackPeer peer(once, LoopbackPeer::Plain);
    const std::unique_ptr<QNetworkReply> reply(network_.get(QNetworkRequest(peer.url(u"/data.bin"_s))));
    QTRY_VERIFY(reply->isFinished());
    QCOMPARE(reply->readAll(), QByteArray());
}

void tst_OurQt::redirectToALocalSocketIsRefused()
{
    const QString name = u"velmo-test-%1"_s.arg(QCoreApplication::applicationPid());
    QLocalServer socket;
    QVERIFY2(socket.listen(name), qPrintable(socket.errorString()));
    QSignalSpy connections(&socket, &QLocalServer::newConnection);
    QObject::connect(&socket, &QLocalServer::newConnection, &socket, [&socket] {
        QLocalSocket *const peer = socket.nextPendingConnection();
        QObject::connect(peer, &QLocalSocket::readyRead, peer,
                         [peer] { peer->write("HTTP/1.1 200 OK\r\nContent-Length: 2\r\n\r\n{}"); });
    });
    LoopbackPeer peer(LoopbackPeer::reply("HTTP/1.1 302 Found\r\nLocation: unix+http://" + name.toUtf8() +
                                          "/new\r\nContent-Length: 0\r\nConnection: close\r\n\r\n"));
    const std::unique_ptr<QNetworkReply> reply(network_.get(QNetworkRequest(peer.url(u"/old"_s))));
    QTRY_VERIFY(reply->isFinished());
    QCOMPARE(reply->error(), QNetworkReply::InsecureRedirectError);
    QCOMPARE(connections.size(), 0);
}

int main(int argc, char **argv)
{
    return velmo::test::runTest<tst_OurQt>(argc, argv);
}

#include "tst_OurQt.moc"
