#include "RawClient.h"
#include "support/TestEnvironment.h"

#include <QElapsedTimer>
#include <QFile>
#include <QProcess>
#include <QRegularExpression>
#include <QSslCertificate>
#include <QSslConfiguration>
#include <QTcpServer>
#include <QTemporaryDir>

#include <csignal>

using namespace Qt::Literals::StringLiterals;
using velmo::test::RawClient;

/// Runs velmo-studio as a person would.
class tst_StudioProgram : public QObject {
    Q_OBJECT

private slots:
    void initTestCase();
    void init();
    void cleanup();

    void saysWhereItServes();
    void servesAtThePortThatIsAskedFor();
    void endsOnSignals_data();
    void endsOnSignals();
    void endsAfterItsTime();
    void printsALineForEachRequest();
    void quietPrintsNoRequests();
    void newsAndStatusAreServedAsTheyAre();
    void faultsAreSwitchedOn();
    void rateIsKept();
    void launcherInstallsWhatItServesByTheDocumentedProfile();
    void documentedCertificateIsTrustedByWhoeverHasIt();
    void wrongCallsEndWithTwo_data();
    void wrongCallsEndWithTwo();
    void whatCannotBeServedEndsWithOne_data();
    void whatCannotBeServedEndsWithOne();
    void takenPortEndsWithOne();
    void helpIsComplete();
    void versionIsTold();

private:
    /// Starts the program with \a extra beside what it cannot do without, and waits until it serves.
    void serve(const QStringList &extra = {});
    /// Runs the program to its end.
    void run(const QStringList &arguments);
    QString line();
    QString write(const QString &name, const QByteArray &bytes);
    QStringList required() const;
    /// What docs/publishing.md says behind \a from and before the next \a to. Empty when it does not.
    static QByteArray page(const QByteArray &from, const QByteArray &to);

    std::unique_ptr<QTemporaryDir> folder_;
    std::unique_ptr<QProcess> program_;
    quint16 port_ = 0;
};

void tst_StudioProgram::serve(const QStringList &extra)
{
    const QStringList bounded{u"--run-for"_s, u"120"_s}; // so that a test that dies leaves nothing behind
    program_->start(QStringLiteral(VELMO_STUDIO), required() + bounded + extra);
    const QString first = line();
    static const QRegularExpression form(u"^Serving (.*) at https://127\\.0\\.0\\.1:(\\d+)\n$"_s);
    const QRegularExpressionMatch match = form.match(first);
    QVERIFY2(match.hasMatch(), qPrintable(first + QString::fromLocal8Bit(program_->readAllStandardError())));
    QCOMPARE(match.captured(1), QString(folder_->path() + u"/tree"_s));
    port_ = static_cast<quint16>(match.captured(2).toUInt());
    QVERIFY(port_ != 0);
}

void tst_StudioProgram::run(const QStringList &arguments)
{
    program_->start(QStringLiteral(VELMO_STUDIO), arguments);
    QVERIFY(program_->waitForFinished());
    QCOMPARE(program_->exitStatus(), QProcess::NormalExit);
}

QString tst_StudioProgram::line()
{
    while (!program_->canReadLine() && program_->waitForReadyRead()) {
    }
    return QString::fromLocal8Bit(program_->readLine());
}

QString tst_StudioProgram::write(const QString &name, const QByteArray &bytes)
{
    QFile file(folder_->filePath(name));
    return file.open(QIODevice::WriteOnly) && file.write(bytes) == bytes.size() ? file.fileName() : QString();
}

QStringList tst_StudioProgram::required() const
{
    return {u"--tree"_s, folder_->filePath(u"tree"_s),      u"--certificate"_s, folder_->filePath(u"chain.pem"_s),
            u"--key"_s,  folder_->filePath(u"server.key"_s)};
}

QByteArray tst_StudioProgram::page(const QByteArray &from, const QByteArray &to)
{
    QFile file(QStringLiteral(VELMO_PUBLISHING));
    const QByteArray text = file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
    const qsizetype begin = text.indexOf(from);
    const qsizetype first = begin + from.size();
    return begin < 0 ? QByteArray() : text.mid(first, text.indexOf(to, first) - first);
}

void tst_StudioProgram::initTestCase()
{
    velmo::test::trustTestAuthority();
}

void tst_StudioProgram::init()
{
    folder_ = std::make_unique<QTemporaryDir>();
    QVERIFY(QDir(folder_->path()).mkdir(u"tree"_s));
    QVERIFY(!write(u"tree/digits.txt"_s, "0123456789").isEmpty());
    QVERIFY(QFile::copy(u":/certificates/server-chain.pem"_s, folder_->filePath(u"chain.pem"_s)));
    QVERIFY(QFile::copy(u":/certificates/server.key"_s, folder_->filePath(u"server.key"_s)));
    program_ = std::make_unique<QProcess>();
}

void tst_StudioProgram::cleanup()
{
    if (program_->state() != QProcess::NotRunning) {
        program_->terminate();
        QVERIFY(program_->waitForFinished());
    }
    program_.reset();
    folder_.reset();
}

void tst_StudioProgram::saysWhereItServes()
{
    serve();
    RawClient client(port_);
    QCOMPARE(client.exchange("GET", "/digits.txt").body, "0123456789");
    QCOMPARE(client.exchange("GET", "/api/v1/news").status, 404);
    QCOMPARE(client.exchange("GET", "/api/v1/status").status, 404);
}

void tst_StudioProgram::servesAtThePortThatIsAskedFor()
{
    QTcpServer probe;
    QVERIFY(probe.listen(QHostAddress::LocalHost));
    const quint16 port = probe.serverPort();
    probe.close();
    serve({u"--port"_s, QString::number(port)});
    QCOMPARE(port_, port);
}

void tst_StudioProgram::endsOnSignals_data()
{
    QTest::addColumn<int>("signal");

    QTest::newRow("SIGINT") << SIGINT;
    QTest::newRow("SIGTERM") << SIGTERM;
}

void tst_StudioProgram::endsOnSignals()
{
    QFETCH(const int, signal);
    serve({u"--fault"_s, u"/digits.txt=stall:3"_s});
    RawClient client(port_);
    client.request("GET", "/digits.txt");
    QVERIFY(client.socket().waitForReadyRead());
    QCOMPARE(::kill(static_cast<pid_t>(program_->processId()), signal), 0);
    QVERIFY(program_->waitForFinished());
    QCOMPARE(program_->exitStatus(), QProcess::NormalExit);
    QCOMPARE(program_->exitCode(), 0);
    QCOMPARE(program_->readAllStandardError(), "");
}

void tst_StudioProgram::endsAfterItsTime()
{
    QElapsedTimer time;
    time.start();
    serve({u"--run-for"_s, u"1"_s});
    QVERIFY(program_->waitForFinished());
    QVERIFY2(time.elapsed() >= 1'000, qPrintable(QString::number(time.elapsed())));
    QCOMPARE(program_->exitStatus(), QProcess::NormalExit);
    QCOMPARE(program_->exitCode(), 0);
}

void tst_StudioProgram::printsALineForEachRequest()
{
    serve();
    RawClient client(port_);
    client.exchange("GET", "/digits.txt");
    QCOMPARE(line(), u"200 GET /digits.txt\n"_s);
    client.exchange("GET", "/digits.txt", "Range: bytes=4-\r\n");
    QCOMPARE(line(), u"206 GET /digits.txt bytes=4-\n"_s);
    client.exchange("HEAD", "/a%20b%0A?query");
    QCOMPARE(line(), u"404 HEAD /a%20b%0A\n"_s);
}

void tst_StudioProgram::quietPrintsNoRequests()
{
    serve({u"--quiet"_s});
    RawClient client(port_);
    QCOMPARE(client.exchange("GET", "/digits.txt").status, 200);
    program_->terminate();
    QVERIFY(program_->waitForFinished());
    QCOMPARE(program_->readAllStandardOutput(), "");
}

void tst_StudioProgram::newsAndStatusAreServedAsTheyAre()
{
    const QString news = write(u"news.json"_s, "[1]");
    const QString status = write(u"status.json"_s, "{}");
    serve({u"--news"_s, news, u"--status"_s, status});
    RawClient client(port_);
    const velmo::test::RawReply reply = client.exchange("GET", "/api/v1/news");
    QCOMPARE(reply.body, "[1]");
    QCOMPARE(reply.headers.value("content-type"), "application/json");
    QCOMPARE(client.exchange("GET", "/api/v1/status").body, "{}");
    write(u"news.json"_s, "[1, 2]");
    QCOMPARE(client.exchange("GET", "/api/v1/news").body, "[1, 2]");
    QVERIFY(QFile::remove(status));
    QCOMPARE(client.exchange("GET", "/api/v1/status").status, 404);
}

void tst_StudioProgram::faultsAreSwitchedOn()
{
    serve({u"--fault"_s, u"/digits.txt=status:503@1-1"_s, u"--fault"_s, u"/digits.txt=corrupt:0@2-2"_s, u"--fault"_s,
           u"/gone=redirect:/digits.txt"_s});
    RawClient client(port_);
    QCOMPARE(client.exchange("GET", "/digits.txt").status, 503);
    QCOMPARE(client.exchange("GET", "/digits.txt").body, "\xcf"
                                                         "123456789"_ba);
    QCOMPARE(client.exchange("GET", "/digits.txt").body, "0123456789");
    QCOMPARE(client.exchange("GET", "/gone").headers.value("location"), "/digits.txt");
}

void tst_StudioProgram::rateIsKept()
{
    serve({u"--rate"_s, u"20"_s});
    QElapsedTimer time;
    time.start();
    RawClient client(port_);
    QCOMPARE(client.exchange("GET", "/digits.txt").body, "0123456789");
    QVERIFY2(time.elapsed() >= 400, qPrintable(QString::number(time.elapsed())));
}

/// As a studio's own people try a build before players get it.
void tst_StudioProgram::launcherInstallsWhatItServesByTheDocumentedProfile()
{
    const QByteArray game(300'000, 'g');
    QVERIFY(QDir(folder_->path()).mkpath(u"build/bin"_s) && QDir(folder_->path()).mkdir(u"launcher"_s));
    QVERIFY(!write(u"build/bin/game"_s, game).isEmpty());
    QCOMPARE(QProcess::execute(QStringLiteral(VELMO_PUBLISH),
                               {u"--source"_s, folder_->filePath(u"build"_s), u"--out"_s, folder_->filePath(u"tree"_s),
                                u"--channel"_s, u"release"_s, u"--version"_s, u"1.0.0"_s, u"--build"_s, u"1"_s,
                                u"--executable"_s, u"bin/game"_s}),
             0);
    serve();
    QByteArray profile = page("```json\n", "```");
    QVERIFY(profile.contains("127.0.0.1:8443/"));
    QVERIFY(!write(u"launcher/game.json"_s, profile.replace("8443", QByteArray::number(port_))).isEmpty());
    const QString launcher = folder_->filePath(u"launcher/installer"_s);
    QVERIFY(QFile::copy(QStringLiteral(VELMO_TEST_INSTALLER), launcher));

    QProcess engine;
    engine.setProcessEnvironment(velmo::test::TestEnvironment::redirected(folder_->path()));
    engine.start(launcher, {folder_->filePath(u"installed"_s)});
    QVERIFY(engine.waitForFinished(60'000));
    QVERIFY2(engine.exitCode() == 0, engine.readAllStandardError().constData());
    QFile installed(folder_->filePath(u"installed/bin/game"_s));
    QVERIFY(installed.open(QIODevice::ReadOnly));
    QVERIFY(installed.readAll() == game);
    QCOMPARE(line(), u"200 GET /harrowfen/release/manifest.json\n"_s);
}

void tst_StudioProgram::documentedCertificateIsTrustedByWhoeverHasIt()
{
    const QString certificate = folder_->filePath(u"preview.pem"_s);
    const QString key = folder_->filePath(u"preview.key"_s);
    QProcess shell;
    shell.setWorkingDirectory(folder_->path());
    shell.start(u"sh"_s, {u"-c"_s, QString::fromUtf8(page("\nopenssl req", "velmo-studio")).prepend("openssl req"_L1)});
    QVERIFY(shell.waitForFinished(60'000));
    QCOMPARE(shell.exitCode(), 0);
    serve({u"--certificate"_s, certificate, u"--key"_s, key});

    QSslSocket stranger;
    stranger.connectToHostEncrypted(u"127.0.0.1"_s, port_);
    QVERIFY(!stranger.waitForEncrypted());
    QSslConfiguration trusting;
    trusting.setCaCertificates(QSslCertificate::fromPath(certificate));
    QSslSocket client;
    client.setSslConfiguration(trusting);
    client.connectToHostEncrypted(u"127.0.0.1"_s, port_);
    QVERIFY2(client.waitForEncrypted(), qPrintable(client.errorString()));
}

void tst_StudioProgram::wrongCallsEndWithTwo_data()
{
    QTest::addColumn<QStringList>("arguments");
    QTest::addColumn<QString>("reason");

    const QStringList complete{u"--tree"_s, u"a"_s, u"--certificate"_s, u"b"_s, u"--key"_s, u"c"_s};
    QTest::newRow("nothing") << QStringList() << u"--tree is missing."_s;
    QTest::newRow("no certificate") << QStringList{u"--tree"_s, u"a"_s} << u"--certificate is missing."_s;
    QTest::newRow("no key") << complete.first(4) << u"--key is missing."_s;
    QTest::newRow("option without a value") << complete.first(5) << u"Missing value after '--key'."_s;
    QTest::newRow("unknown option") << complete + QStringList{u"--fast"_s} << u"Unknown option 'fast'."_s;
    QTest::newRow("argument") << complete + QStringList{u"more"_s} << u"Unexpected argument \"more\"."_s;
    QTest::newRow("port of letters") << complete + QStringList{u"--port"_s, u"x"_s} << u"--port takes no \"x\"."_s;
    QTest::newRow("port too large") << complete + QStringList{u"--port"_s, u"65536"_s}
                                    << u"--port takes no \"65536\"."_s;
    QTest::newRow("negative rate") << complete + QStringList{u"--rate=-1"_s} << u"--rate takes no \"-1\"."_s;
    QTest::newRow("no time") << complete + QStringList{u"--run-for"_s, u"0"_s} << u"--run-for takes no \"0\"."_s;
    QTest::newRow("fault") << complete + QStringList{u"--fault"_s, u"/a=explode"_s}
                           << u"--fault /a=explode: there is no kind \"explode\"."_s;
}

void tst_StudioProgram::wrongCallsEndWithTwo()
{
    QFETCH(const QStringList, arguments);
    QFETCH(const QString, reason);
    run(arguments);
    QCOMPARE(program_->exitCode(), 2);
    QCOMPARE(QString::fromLocal8Bit(program_->readAllStandardError()),
             QString(u"velmo-studio: "_s + reason + u" See velmo-studio --help.\n"_s));
    QCOMPARE(program_->readAllStandardOutput(), "");
}

void tst_StudioProgram::whatCannotBeServedEndsWithOne_data()
{
    QTest::addColumn<QStringList>("change");
    QTest::addColumn<QString>("reason");

    QTest::newRow("no folder") << QStringList{u"--tree"_s, u"/nowhere"_s} << u"there is no folder /nowhere\n"_s;
    QTest::newRow("no certificate") << QStringList{u"--certificate"_s, u"/nowhere"_s}
                                    << u"cannot read /nowhere: No such file or directory\n"_s;
    QTest::newRow("no key") << QStringList{u"--key"_s, u"/nowhere"_s}
                            << u"cannot read /nowhere: No such file or directory\n"_s;
    QTest::newRow("no news") << QStringList{u"--news"_s, u"/nowhere"_s}
                             << u"cannot read /nowhere: No such file or directory\n"_s;
    QTest::newRow("no status") << QStringList{u"--status"_s, u"/nowhere"_s}
                               << u"cannot read /nowhere: No such file or directory\n"_s;
    QTest::newRow("empty certificate") << QStringList{u"--certificate"_s, u"/dev/null"_s}
                                       << u"the certificate chain holds no PEM certificate\n"_s;
    QTest::newRow("empty key") << QStringList{u"--key"_s, u"/dev/null"_s}
                               << u"the private key is no unencrypted PEM key\n"_s;
}

void tst_StudioProgram::whatCannotBeServedEndsWithOne()
{
    QFETCH(const QStringList, change);
    QFETCH(const QString, reason);
    run(required() + change); // the last of two decides
    QCOMPARE(program_->exitCode(), 1);
    QCOMPARE(QString::fromLocal8Bit(program_->readAllStandardError()), QString(u"velmo-studio: "_s + reason));
    QCOMPARE(program_->readAllStandardOutput(), "");
}

void tst_StudioProgram::takenPortEndsWithOne()
{
    QTcpServer squatter;
    QVERIFY(squatter.listen(QHostAddress::LocalHost));
    const QString port = QString::number(squatter.serverPort());
    run(required() + QStringList{u"--port"_s, port});
    QCOMPARE(program_->exitCode(), 1);
    const QString complaint = QString::fromLocal8Bit(program_->readAllStandardError());
    QVERIFY2(complaint.startsWith(u"velmo-studio: cannot listen on port %1: "_s.arg(port)), qPrintable(complaint));
}

void tst_StudioProgram::helpIsComplete()
{
    run({u"--help"_s});
    QCOMPARE(program_->exitCode(), 0);
    const QString help = QString::fromLocal8Bit(program_->readAllStandardOutput());
    for (const char *part : {"--tree <DIR>",
                             "--news <FILE>",
                             "--status <FILE>",
                             "--certificate <CHAIN.pem>",
                             "--key <KEY.pem>",
                             "--port <N>",
                             "--rate <BYTES_PER_SECOND>",
                             "--fault <FAULT>",
                             "--run-for <SECONDS>",
                             "--quiet",
                             "--help",
                             "--version",
                             "/api/v1/news",
                             "/api/v1/status",
                             "PATH=KIND[:ARGUMENT][@FIRST[-LAST]]",
                             "ignore-range",
                             "status:CODE",
                             "close-after:BYTES",
                             "stall:BYTES",
                             "corrupt:OFFSET",
                             "redirect:URL",
                             "length-offset:BYTES",
                             "wrong-range",
                             "range-refused",
                             "Example:",
                             "Exit status:"}) {
        QVERIFY2(help.contains(QLatin1StringView(part)), part);
    }
}

void tst_StudioProgram::versionIsTold()
{
    run({u"--version"_s});
    QCOMPARE(program_->exitCode(), 0);
    QCOMPARE(program_->readAllStandardOutput(), "velmo-studio " VELMO_VERSION "\n");
}

int main(int argc, char **argv)
{
    return velmo::test::runTest<tst_StudioProgram>(argc, argv);
}

#include "tst_StudioProgram.moc"
