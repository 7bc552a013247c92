#include "GameFixture.h"

#include "support/LoopbackCertificates.h"
#include "support/TestEnvironment.h"
#include "support/TestFiles.h"
#include "tools/publish/ObjectStore.h"
#include "tools/publish/PublishFixture.h"
#include "tools/publish/PushRun.h"

#include <QJsonArray>
#include <QProcess>
#include <QTcpServer>
#include <QTcpSocket>
#include <QtTest>

using namespace Qt::Literals::StringLiterals;
using namespace velmo;
using namespace velmo::test;

/// From a studio's build folder to a player's disk: published, pushed to an object store, and installed and updated by
/// the launcher's engine from the server that stands in front of the store.
class tst_PushedBuild : public QObject {
    Q_OBJECT

private slots:
    void launcherInstallsAndUpdatesWhatWasPushed();
};

namespace {

quint16 freePort()
{
    QTcpServer server;
    return server.listen(QHostAddress::LocalHost) ? server.serverPort() : 0;
}

/// What a CDN is to the store: HTTPS to the outside, and a cache that heeds the headers.
class Front {
public:
    explicit Front(const QUrl &store)
        : port_(freePort())
    {
        writeFile(path("chain.pem"), loopbackChain());
        writeFile(path("server.key"), loopbackKey());
        writeFile(path("nginx.conf"), configuration(store));
        process_.start(u"nginx"_s, {u"-p"_s, folder_.path(), u"-e"_s, path("errors"), u"-c"_s, path("nginx.conf")});
    }
    ~Front()
    {
        process_.terminate();
        process_.waitForFinished();
    }
    Q_DISABLE_COPY_MOVE(Front)

    QString address(const QString &path) const
    {
        return u"https://127.0.0.1:%1/%2"_s.arg(QString::number(port_), path);
    }
    bool isListening() const
    {
        QTcpSocket socket;
        socket.connectToHost(QHostAddress::LocalHost, port_);
        return socket.waitForConnected();
    }

private:
    QString path(const char *name) const { return folder_.filePath(QString::fromUtf8(name)); }
    QByteArray configuration(const QUrl &store) const
    {
        const QString text =
            u"daemon off; worker_processes 1; master_process off; pid nginx.pid; error_log errors;\n"
            "events {}\n"
            "http {\n"
            "  access_log off; client_body_temp_path body; proxy_temp_path proxy; fastcgi_temp_path fastcgi;\n"
            "  uwsgi_temp_path uwsgi; scgi_temp_path scgi;\n"
            "  proxy_cache_path cache keys_zone=cdn:1m;\n"
            "  server {\n"
            "    listen 127.0.0.1:%1 ssl; ssl_certificate chain.pem; ssl_certificate_key server.key;\n"
            "    location / { proxy_pass %2; proxy_cache cdn; proxy_cache_revalidate on; }\n"
            "  }\n"
            "}\n"_s;
        return text.arg(QString::number(port_), store.toString()).toUtf8();
    }

    QTemporaryDir folder_;
    quint16 port_;
    QProcess process_;
};

void publishAndPush(const PublishFixture &fixture, const ObjectStore &store, int build)
{
    const PublishRun run =
        runPush({u"--source"_s, fixture.build(), u"--out"_s, fixture.tree(), u"--channel"_s, u"release"_s,
                 u"--version"_s, u"1.%1"_s.arg(build), u"--build"_s, QString::number(build), u"--executable"_s,
                 u"bin/game"_s, u"--push"_s, ObjectStore::remote()},
                store.environment());
    QVERIFY2(run.exitCode == 0, qPrintable(run.errors));
}

} // namespace

void tst_PushedBuild::launcherInstallsAndUpdatesWhatWasPushed()
{
    const ObjectStore store;
    QVERIFY2(store.problem().isEmpty(), qPrintable(store.problem()));
    const Front front(store.address());
    QTRY_VERIFY_WITH_TIMEOUT(front.isListening(), waitMs);
    const PublishFixture fixture;
    fixture.write(u"bin/game"_s, "program");
    fixture.write(u"data/with space & ü.pak"_s, QByteArray(300000, 'a'));
    fixture.write(u"data/old.pak"_s, "old");
    publishAndPush(fixture, store, 1);

    const QJsonObject channel{{u"id"_s, u"release"_s},
                              {u"name"_s, u"release"_s},
                              {u"manifest"_s, front.address(u"harrowfen/release/manifest.json"_s)}};
    GameStudio unused({{u"channels"_s, QJsonArray{channel}}});
    trustTestAuthority();
    GameFixture player(unused);
    QVERIFY(player.startAndCheck());
    player->primaryAction();
    QVERIFY(player.waitForState(GameState::Installed));
    QCOMPARE(player.filesOnDisk(), PublishFixture::filesBelow(fixture.build()));
    player.close();

    fixture.write(u"data/with space & ü.pak"_s, QByteArray(300000, 'b'));
    QVERIFY(QFile::remove(QDir(fixture.build()).filePath(u"data/old.pak"_s)));
    publishAndPush(fixture, store, 2);
    QVERIFY(player.startAndCheck());
    QVERIFY(player.waitForState(GameState::UpdateAvailable));
    player->primaryAction();
    QVERIFY(player.waitForState(GameState::Installed));
    QCOMPARE(player.readFile(u"data/with space & ü.pak"_s), QByteArray(300000, 'b'));
    QCOMPARE(player.filesOnDisk(), PublishFixture::filesBelow(fixture.build()));
}

int main(int argc, char **argv)
{
    return runTest<tst_PushedBuild>(argc, argv);
}

#include "tst_PushedBuild.moc"
