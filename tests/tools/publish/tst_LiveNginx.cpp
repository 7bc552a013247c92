#include "publish/LiveCheck.h"
#include "support/LoopbackCertificates.h"
#include "support/TestEnvironment.h"
#include "support/TestStudio.h"
#include "tools/publish/PublishFixture.h"

#include <QProcess>
#include <QStandardPaths>
#include <QTcpServer>
#include <QTcpSocket>

#include <unistd.h>

using namespace Qt::Literals::StringLiterals;
using velmo::publish::LiveDemand;
using velmo::test::PublishFixture;
using velmo::test::writeFile;

/// nginx, set up as docs/content-server.md says.
class tst_LiveNginx : public QObject {
    Q_OBJECT

private slots:
    void initTestCase();
    void cleanup();

    void documentedServerKeepsEverything();
    void otherServerBreaksADemand_data();
    void otherServerBreaksADemand();
    void everyServerIsAsked_data();
    void everyServerIsAsked();

private:
    /// The server block of the page, with its places moved into the fixture's folder.
    QByteArray documented() const;
    bool serve(const QByteArray &blocks);
    void end();
    bool answers();
    velmo::publish::LiveResult check() const;
    QStringList brokenByCheck() const;

    QString program_;
    std::unique_ptr<PublishFixture> fixture_ = std::make_unique<PublishFixture>();
    std::unique_ptr<QProcess> nginx_;
    quint16 port_ = 0;
};

void tst_LiveNginx::initTestCase()
{
    velmo::test::trustTestAuthority();
    program_ = QStandardPaths::findExecutable(u"nginx"_s, {u"/usr/sbin"_s, u"/usr/bin"_s});
    QVERIFY2(!program_.isEmpty(), "nginx is missing, run scripts/setup");
    writeFile(fixture_->folder() + u"/chain.pem"_s, velmo::test::loopbackChain());
    writeFile(fixture_->folder() + u"/other.pem"_s, velmo::test::otherChain());
    writeFile(fixture_->folder() + u"/key.pem"_s, velmo::test::loopbackKey());
    fixture_->write(u"Data/fen.pak"_s, QByteArray("fen ").repeated(100'000));
    fixture_->write(u"lantern"_s, "lantern");
    QCOMPARE(fixture_->publish().problems, QStringList());
}

void tst_LiveNginx::cleanup()
{
    end();
}

QByteArray tst_LiveNginx::documented() const
{
    QFile page(QStringLiteral(VELMO_CONTENT_SERVER));
    const QByteArray text = page.open(QIODevice::ReadOnly) ? page.readAll() : QByteArray();
    constexpr QByteArrayView begin = "```nginx\n";
    const qsizetype from = text.indexOf(begin) + begin.size();
    QByteArray block = text.mid(from, text.indexOf("```", from) - from);
    const QByteArray folder = fixture_->folder().toUtf8();
    block.replace("/etc/ssl/cdn.example.pem", QByteArray(folder + "/chain.pem"));
    block.replace("/etc/ssl/cdn.example.key", QByteArray(folder + "/key.pem"));
    return block.replace("/srv/content", fixture_->tree().toUtf8());
}

/// False when it does not start. Ports are taken in the place of "443" and of OTHER_PORT.
bool tst_LiveNginx::serve(const QByteArray &blocks)
{
    const QString folder = fixture_->folder();
    for (int attempt = 1; attempt <= 5; ++attempt) { // a neighbour may take the port in between
        QByteArray server = blocks;
        {
            QTcpServer free;
            QTcpServer otherFree;
            free.listen(QHostAddress::LocalHost);
            otherFree.listen(QHostAddress::LocalHost);
            port_ = free.serverPort();
            server.replace("listen 443", QByteArray("listen 127.0.0.1:" + QByteArray::number(port_)));
            server.replace("OTHER_PORT", QByteArray::number(otherFree.serverPort()));
        }
        const QByteArray at = folder.toUtf8();
        writeFile(folder + u"/conf"_s, QByteArray(geteuid() == 0 ? "user root;" : "") +
                                           "daemon off; master_process off; pid " + at + "/pid; error_log " + at +
                                           "/error.log; events { worker_connections 64; } http { access_log off; "
                                           "client_body_temp_path " +
                                           at + "; proxy_temp_path " + at + "; fastcgi_temp_path " + at +
                                           "; uwsgi_temp_path " + at + "; scgi_temp_path " + at + ";\n" + server +
                                           "}\n");
        end();
        nginx_ = std::make_unique<QProcess>();
        nginx_->start(program_, {u"-e"_s, folder + u"/error.log"_s, u"-p"_s, folder, u"-c"_s, folder + u"/conf"_s});
        if (answers()) {
            return true;
        }
    }
    return false;
}

void tst_LiveNginx::end()
{
    if (nginx_ && nginx_->state() != QProcess::NotRunning) {
        nginx_->terminate();
        QVERIFY(nginx_->waitForFinished());
    }
    nginx_.reset();
}

bool tst_LiveNginx::answers()
{
    const auto takesIn = [this] {
        QTcpSocket socket;
        socket.connectToHost(QHostAddress(QHostAddress::LocalHost), port_);
        return nginx_->state() == QProcess::NotRunning || socket.waitForConnected(1000);
    };
    return QTest::qWaitFor(takesIn, 60'000) && nginx_->state() == QProcess::Running;
}

velmo::publish::LiveResult tst_LiveNginx::check() const
{
    velmo::publish::LiveOrder order;
    order.manifest = QUrl(u"https://127.0.0.1:%1/harrowfen/release/manifest.json"_s.arg(port_));
    order.tree = fixture_->tree();
    order.game = u"harrowfen"_s;
    order.everyByte = true;
    return velmo::publish::LiveCheck(order).run();
}

QStringList tst_LiveNginx::brokenByCheck() const
{
    QStringList broken;
    for (const LiveDemand &demand : check().demands) {
        if (demand.state == LiveDemand::State::Broken) {
            broken.append(demand.text);
        }
    }
    return broken;
}

void tst_LiveNginx::documentedServerKeepsEverything()
{
    QVERIFY2(serve(documented()), documented().constData());
    const velmo::publish::LiveResult result = check();
    for (const LiveDemand &demand : result.demands) {
        QVERIFY2(demand.state == LiveDemand::State::Kept, qPrintable(demand.text + demand.problems.join(u' ')));
    }
    QVERIFY(result.isGood());
    QCOMPARE(result.filesAsked, 2);
}

void tst_LiveNginx::otherServerBreaksADemand_data()
{
    QTest::addColumn<QByteArray>("line");
    QTest::addColumn<QByteArray>("instead");
    QTest::addColumn<QString>("broken");
    QTest::newRow("TLS 1.3 alone") << "TLSv1.2 TLSv1.3"_ba
                                   << "TLSv1.3"_ba << u"TLS 1.2 is offered"_s;
    QTest::newRow("not packed") << "gzip_static on;"_ba
                                << ""_ba << u"The manifest comes compressed"_s;
    QTest::newRow("kept") << "\"no-cache\""_ba
                          << "\"max-age=3600\""_ba << u"The manifest is asked for anew each time"_s;
    QTest::newRow("compressed content") << "gzip off;"_ba
                                        << "gzip on; gzip_types *;"_ba << u"Content files are not compressed"_s;
    QTest::newRow("no manifest for who takes gzip and deflate")
        << "gzip_static on;"_ba
        << "gzip_static on; if ($http_accept_encoding = \"gzip, deflate\") { return 503; }"_ba
        << u"The launcher reads the manifest"_s;
    QTest::newRow("no content for who takes gzip") << "gzip off;"_ba
                                                   << "gzip off; if ($http_accept_encoding = gzip) { return 503; }"_ba
                                                   << u"Content files are there, with their sizes"_s;
    QTest::newRow("content in one piece") << "gzip off;"_ba
                                          << "max_ranges 0;"_ba << u"Content files come in parts, too"_s;
    QTest::newRow("content asked for anew") << "max-age=31536000"_ba
                                            << "max-age=60"_ba << u"Content files may be kept for good"_s;
    QTest::newRow("a page for what is missing")
        << "gzip off;"_ba
        << "error_page 404 =200 /harrowfen/release/manifest.json;"_ba << u"What is missing is answered with 404"_s;
}

void tst_LiveNginx::otherServerBreaksADemand()
{
    QFETCH(QByteArray, line);
    QFETCH(QByteArray, instead);
    QFETCH(QString, broken);
    QByteArray block = documented();
    QVERIFY(block.contains(line));
    QVERIFY(serve(block.replace(line, instead)));
    QCOMPARE(brokenByCheck(), QStringList{broken});
}

void tst_LiveNginx::everyServerIsAsked_data()
{
    QTest::addColumn<QByteArray>("line"); // of the server that the content files lie on
    QTest::addColumn<QByteArray>("instead");
    QTest::addColumn<QStringList>("broken");
    QTest::newRow("like the first") << ""_ba
                                    << ""_ba << QStringList();
    QTest::newRow("TLS 1.3 alone") << "TLSv1.2 TLSv1.3"_ba
                                   << "TLSv1.3"_ba << QStringList{u"TLS 1.2 is offered"_s};
    QTest::newRow("certificate of its own")
        << "chain.pem"_ba
        << "other.pem"_ba << QStringList{u"The certificates are trusted, and good for the next 14 days"_s};
}

/// The first one sends whoever asks for a content file there.
void tst_LiveNginx::everyServerIsAsked()
{
    QFETCH(QByteArray, line);
    QFETCH(QByteArray, instead);
    QFETCH(QStringList, broken);
    const QByteArray first = documented().replace("gzip off;", "return 302 https://127.0.0.1:OTHER_PORT$request_uri;");
    QByteArray other = documented().replace("listen 443", "listen 127.0.0.1:OTHER_PORT");
    if (!line.isEmpty()) {
        other.replace(line, instead);
    }
    QVERIFY(serve(first + other));
    QCOMPARE(brokenByCheck(), broken);
}

int main(int argc, char **argv)
{
    return velmo::test::runTest<tst_LiveNginx>(argc, argv);
}

#include "tst_LiveNginx.moc"
