#include "publish/LiveCheck.h"
#include "support/LoopbackCertificates.h"
#include "support/TestEnvironment.h"
#include "support/TestStudio.h"
#include "tools/publish/PublishFixture.h"

#include <QJsonDocument>

using namespace Qt::Literals::StringLiterals;
using velmo::publish::ContentTree;
using velmo::publish::LiveDemand;
using velmo::publish::LiveOrder;
using velmo::publish::LiveResult;
using velmo::studio::Fault;
using velmo::test::PublishFixture;
using velmo::test::sha256Of;
using velmo::test::Studio;
using velmo::test::TestStudio;

namespace {

const QString secure = u"Everything comes over HTTPS"_s;
const QString certificates = u"The certificates are trusted, and good for the next 14 days"_s;
const QString readable = u"The launcher reads the manifest"_s;
const QString fresh = u"The manifest is the one in the tree"_s;
const QString packed = u"The manifest comes compressed"_s;
const QString anew = u"The manifest is asked for anew each time"_s;
const QString securely = u"Content files come over HTTPS"_s;
const QString sizes = u"Content files are there, with their sizes"_s;
const QString ranges = u"Content files come in parts, too"_s;
const QString rightBytes = u"Content files have the right bytes"_s;
const QString plain = u"Content files are not compressed"_s;
const QString kept = u"Content files may be kept for good"_s;
const QString missing = u"What is missing is answered with 404"_s;

const QString manifestPath = u"/harrowfen/release/manifest.json"_s;
const QString missingPath = u"/harrowfen/files/00/"_s + QString(64, u'0');

/// The largest file of the build.
QByteArray pack()
{
    QByteArray bytes;
    for (int number = 0; bytes.size() < 300'000; ++number) {
        bytes += QByteArray::number(number);
    }
    return bytes;
}

QString pathOf(const QByteArray &bytes)
{
    return u"/harrowfen/files/"_s + velmo::publish::TreeLayout::contentName(sha256Of(bytes));
}

Fault fault(Fault::Kind kind, int attempt = 0)
{
    Fault fault;
    fault.kind = kind;
    if (attempt > 0) {
        fault.firstAttempt = attempt;
        fault.lastAttempt = attempt;
    }
    return fault;
}

Fault status(int number)
{
    Fault result = fault(Fault::Status);
    result.status = number;
    return result;
}

Fault at(Fault::Kind kind, qint64 bytes, int attempt = 0)
{
    Fault result = fault(kind, attempt);
    result.bytes = bytes;
    return result;
}

Fault with(Fault::Kind kind, const QString &location, int attempt = 0)
{
    Fault result = fault(kind, attempt);
    result.location = location;
    return result;
}

QStringList brokenOf(const LiveResult &result)
{
    QStringList broken;
    for (const LiveDemand &demand : result.demands) {
        if (demand.state == LiveDemand::State::Broken) {
            broken.append(demand.text);
        }
    }
    return broken;
}

QStringList problemsOf(const LiveResult &result)
{
    QStringList problems;
    for (const LiveDemand &demand : result.demands) {
        problems += demand.problems;
    }
    return problems;
}

qsizetype keptOf(const LiveResult &result)
{
    return std::count_if(result.demands.begin(), result.demands.end(),
                         [](const LiveDemand &demand) { return demand.state == LiveDemand::State::Kept; });
}

} // namespace

class tst_LiveCheck : public QObject {
    Q_OBJECT

private slots:
    void init();
    void cleanup();

    void goodServerKeepsEverything();
    void manifestAloneIsEnough();
    void brokenDemandIsFound_data();
    void brokenDemandIsFound();
    void wholeFilesAreHashed_data();
    void wholeFilesAreHashed();
    void answerThatIsNoManifestIsTold();
    void oldManifestIsFound();
    void filesThatTheTreeNoLongerHasAreNotComparedWithIt();
    void twoContentsAtOneAddressAreFound();
    void passwordOfTheAddressIsNotShown();
    void manifestThatIsNotPackedIsFound();
    void encodingThatWindowsDoesNotTakeIsFound();
    void missingFileIsFound();
    void fileWithoutHttpsIsFound();
    void pageInThePlaceOfWhatIsMissingIsFound();
    void certificateThatEndsSoonIsFound();
    void certificateOfEveryServerIsLookedAt_data();
    void certificateOfEveryServerIsLookedAt();
    void serverThatIsNotThereIsToldOnce();
    void sampleIsTheSameEachTime();
    void fewOfManyProblemsAreTold();
    void progressIsTold();

private:
    LiveOrder order() const;
    LiveResult check(const LiveOrder &order) const { return velmo::publish::LiveCheck(order).run(); }
    void publishInto(const QString &tree, int build) const;
    bool startOtherServer(Studio &other) const;
    void moveContentTo(const QString &server) const;

    std::unique_ptr<TestStudio> studio_;
    std::unique_ptr<PublishFixture> fixture_;
};

void tst_LiveCheck::init()
{
    studio_ = std::make_unique<TestStudio>();
    fixture_ = std::make_unique<PublishFixture>();
    fixture_->write(u"Data/fen.pak"_s, pack());
    fixture_->write(u"empty"_s, "");
    fixture_->write(u"lantern"_s, "lantern");
    fixture_->write(u"copy of the lantern"_s, "lantern");
    publishInto(studio_->root(), 1);
}

void tst_LiveCheck::cleanup()
{
    fixture_.reset();
    studio_.reset();
}

LiveOrder tst_LiveCheck::order() const
{
    LiveOrder order;
    order.manifest = studio_->url(manifestPath);
    order.tree = studio_->root();
    order.game = u"harrowfen"_s;
    return order;
}

void tst_LiveCheck::publishInto(const QString &tree, int build) const
{
    velmo::publish::PublishOrder order = fixture_->order();
    order.tree = tree;
    order.build = build;
    QCOMPARE(velmo::publish::Publisher(order).run().problems, QStringList());
}

void tst_LiveCheck::goodServerKeepsEverything()
{
    LiveOrder order = this->order();
    order.everyByte = true;
    const LiveResult result = check(order);
    QCOMPARE(problemsOf(result), QStringList());
    QVERIFY(result.isGood());
    QCOMPARE(keptOf(result), 14);
    QCOMPARE(result.demands.size(), 14);
    QCOMPARE(result.manifest.build, 1);
    QCOMPARE(result.files, 3);
    QCOMPARE(result.filesAsked, 3);
}

void tst_LiveCheck::manifestAloneIsEnough()
{
    LiveOrder order = this->order();
    order.tree.clear();
    const LiveResult result = check(order);
    QCOMPARE(problemsOf(result), QStringList());
    QCOMPARE(keptOf(result), 12); // without the tree's manifest and the bytes
    QCOMPARE(result.demands.size(), 12);
    QVERIFY(studio_->server().requests(manifestPath).first().headers.value("accept-encoding").contains("gzip"));
    QVERIFY(studio_->server().requests(pathOf("lantern")).first().method == "HEAD");
}

void tst_LiveCheck::brokenDemandIsFound_data()
{
    QTest::addColumn<QString>("path");
    QTest::addColumn<Fault>("fault");
    QTest::addColumn<QStringList>("broken");
    const QString file = pathOf(pack());
    const auto add = [](const char *name, const QString &path, const Fault &fault, const QStringList &broken) {
        QTest::newRow(name) << path << fault << broken;
    };
    add("manifest: not there", manifestPath, status(404), {readable});
    add("manifest: a page", manifestPath, status(200), {readable});
    add("manifest: cut", manifestPath, at(Fault::CloseAfter, 20), {readable});
    add("manifest: without HTTPS", manifestPath, with(Fault::Redirect, u"http://127.0.0.1/a"_s), {secure, readable});
    add("manifest: kept for a while", manifestPath, with(Fault::Header, u"Cache-Control: max-age=60"_s), {anew});
    add("manifest: kept as anybody likes", manifestPath, with(Fault::Header, u"Cache-Control:"_s), {anew});
    add("file: without HTTPS", file, with(Fault::Redirect, u"http://127.0.0.1/a"_s), {securely, sizes});
    add("file: a part without HTTPS", file, with(Fault::Redirect, u"http://127.0.0.1/a"_s, 3), {securely, ranges});
    add("file: refused", file, status(403), {sizes});
    add("file: another size", file, at(Fault::LengthOffset, 1, 1), {sizes});
    add("file: always whole", file, fault(Fault::IgnoreRange), {ranges});
    add("file: another part", file, fault(Fault::WrongRange), {ranges});
    add("file: no part", file, fault(Fault::RangeRefused), {ranges});
    add("file: cut", file, at(Fault::CloseAfter, 20, 3), {ranges});
    add("file: a shorter part", file, at(Fault::LengthOffset, -1, 3), {ranges});
    add("file: another part by its own word", file, with(Fault::Header, u"Content-Range: bytes 0-1/2"_s), {ranges});
    add("file: another byte", file, at(Fault::Corrupt, 160'000), {rightBytes});
    add("file: compressed", file, with(Fault::Header, u"Content-Encoding: br"_s, 1), {plain});
    add("file: compressed for some", file, with(Fault::Header, u"Content-Encoding: gzip"_s, 2), {plain});
    add("file: not kept", file, with(Fault::Header, u"Cache-Control: no-store, max-age=31536000"_s), {kept});
    add("file: kept for a week", file, with(Fault::Header, u"Cache-Control: max-age=604800"_s), {kept});
    add("what is missing: refused", missingPath, status(403), {missing});
    add("what is missing: sent away", missingPath, with(Fault::Redirect, u"/harrowfen/release/manifest.json"_s),
        {missing});
}

void tst_LiveCheck::brokenDemandIsFound()
{
    QFETCH(QString, path);
    QFETCH(Fault, fault);
    QFETCH(QStringList, broken);
    studio_->server().addFault(path, fault);
    const LiveResult result = check(order());
    QCOMPARE(brokenOf(result), broken);
    QVERIFY(!result.isGood());
    QVERIFY2(problemsOf(result).size() == broken.size(), qPrintable(problemsOf(result).join(u'\n')));
    for (const QString &problem : problemsOf(result)) {
        QVERIFY2(problem.endsWith(u'.'), qPrintable(problem));
    }
}

void tst_LiveCheck::wholeFilesAreHashed_data()
{
    QTest::addColumn<Fault>("fault");
    QTest::addColumn<QString>("broken");
    QTest::newRow("another first byte") << at(Fault::Corrupt, 0) << rightBytes;
    QTest::newRow("cut") << at(Fault::CloseAfter, 299'000, 4) << rightBytes;
    QTest::newRow("too long") << with(Fault::Redirect, u"/longer"_s, 4) << rightBytes;
    QTest::newRow("another byte in a part alone") << at(Fault::Corrupt, 160'000, 3) << ranges;
}

void tst_LiveCheck::wholeFilesAreHashed()
{
    QFETCH(Fault, fault);
    QFETCH(QString, broken);
    studio_->writeFile(u"/longer"_s, pack() + 'x');
    studio_->server().addFault(pathOf(pack()), fault);
    LiveOrder order = this->order();
    order.tree.clear();
    order.everyByte = true;
    QCOMPARE(brokenOf(check(order)), QStringList{broken});
}

void tst_LiveCheck::answerThatIsNoManifestIsTold()
{
    studio_->server().addFault(manifestPath, status(404));
    const QString address = studio_->url(manifestPath).toString();
    QCOMPARE(problemsOf(check(order())),
             QStringList{u"\"%1\" is no manifest for it. It is answered with 404."_s.arg(address)});
}

void tst_LiveCheck::oldManifestIsFound()
{
    LiveOrder order = this->order();
    order.tree = fixture_->tree();
    publishInto(order.tree, 2);
    const LiveResult result = check(order);
    QCOMPARE(brokenOf(result), QStringList{fresh});
    const QString path = fixture_->contentTree().manifestPath(u"release"_s);
    QCOMPARE(problemsOf(result),
             QStringList{u"The server has build 1 (1.0), which is not that of \"%1\": build 2 (1.0)."_s.arg(path)});
    QVERIFY(QFile::remove(path));
    QCOMPARE(brokenOf(check(order)), QStringList{fresh});
}

void tst_LiveCheck::filesThatTheTreeNoLongerHasAreNotComparedWithIt()
{
    LiveOrder order = this->order();
    order.tree = fixture_->tree();
    fixture_->write(u"lantern"_s, "other");
    fixture_->write(u"copy of the lantern"_s, "other");
    publishInto(order.tree, 2);
    QCOMPARE(brokenOf(check(order)), QStringList{fresh});
}

void tst_LiveCheck::twoContentsAtOneAddressAreFound()
{
    velmo::Manifest manifest = ContentTree(studio_->root(), u"harrowfen"_s).readManifest(u"release"_s).manifest;
    velmo::ManifestFile other = manifest.files.first();
    other.path = u"other"_s;
    other.size += 1;
    manifest.files.append(other);
    QCOMPARE(ContentTree(studio_->root(), u"harrowfen"_s).writeManifest(manifest), QString());
    QCOMPARE(brokenOf(check(order())), (QStringList{sizes, ranges}));
}

void tst_LiveCheck::passwordOfTheAddressIsNotShown()
{
    LiveOrder order = this->order();
    order.manifest.setUserInfo(u"studio:geheim"_s);
    studio_->server().addFault(manifestPath, status(404));
    studio_->server().addFault(missingPath, status(403));
    const QStringList problems = problemsOf(check(order));
    QCOMPARE(problems.size(), 2);
    QVERIFY2(!problems.join(u' ').contains(u"geheim"_s), qPrintable(problems.join(u'\n')));
}

void tst_LiveCheck::manifestThatIsNotPackedIsFound()
{
    QVERIFY(QFile::remove(ContentTree(studio_->root(), u"harrowfen"_s).packedManifestPath(u"release"_s)));
    QCOMPARE(brokenOf(check(order())), QStringList{packed});
    studio_->server().addFault(manifestPath, with(Fault::Header, u"Content-Encoding: identity"_s));
    QCOMPARE(brokenOf(check(order())), QStringList{packed});
}

void tst_LiveCheck::encodingThatWindowsDoesNotTakeIsFound()
{
    const QByteArray json = studio_->readFile(manifestPath);
    studio_->server().setDocument(manifestPath, velmo::test::brotliOf(json));
    studio_->server().addFault(manifestPath, with(Fault::Header, u"Content-Encoding: br"_s));
    const LiveResult result = check(order());
    QCOMPARE(brokenOf(result), QStringList{readable});
#ifndef Q_OS_WIN // where it cannot be read at all
    QVERIFY2(problemsOf(result).constFirst().contains(u"\"br\""_s), qPrintable(problemsOf(result).constFirst()));
#endif
}

void tst_LiveCheck::missingFileIsFound()
{
    QVERIFY(QFile::remove(studio_->root() + pathOf("lantern")));
    const LiveResult result = check(order());
    QCOMPARE(brokenOf(result), QStringList{sizes});
    QCOMPARE(problemsOf(result),
             QStringList{u"\"%1\" is answered with 404."_s.arg(studio_->url(pathOf("lantern")).toString())});
}

void tst_LiveCheck::fileWithoutHttpsIsFound()
{
    velmo::Manifest manifest = ContentTree(studio_->root(), u"harrowfen"_s).readManifest(u"release"_s).manifest;
    manifest.files[0].url = u"http://127.0.0.1/a"_s;
    QCOMPARE(ContentTree(studio_->root(), u"harrowfen"_s).writeManifest(manifest), QString());
    const LiveResult result = check(order());
    QCOMPARE(brokenOf(result), QStringList{securely});
    QCOMPARE(problemsOf(result), QStringList{u"The address of \"Data/fen.pak\" is \"http://127.0.0.1/a\"."_s});
}

void tst_LiveCheck::pageInThePlaceOfWhatIsMissingIsFound()
{
    studio_->server().setDocument(missingPath, "<html>Not found</html>", "text/html");
    const LiveResult result = check(order());
    QCOMPARE(brokenOf(result), QStringList{missing});
    QCOMPARE(problemsOf(result), QStringList{u"\"%1\", which is not there, is answered with 200."_s.arg(
                                     studio_->url(missingPath).toString())});
}

void tst_LiveCheck::certificateThatEndsSoonIsFound()
{
    const QDateTime end = QSslCertificate::fromData(velmo::test::loopbackChain(), QSsl::Pem).constFirst().expiryDate();
    velmo::publish::LiveCheck check(order());
    check.setNow(end.addDays(-15));
    QCOMPARE(brokenOf(check.run()), QStringList());
    check.setNow(end.addDays(-13));
    const LiveResult result = check.run();
    QCOMPARE(brokenOf(result), QStringList{certificates});
    QVERIFY2(problemsOf(result).first().contains(end.toUTC().toString(Qt::ISODate)),
             qPrintable(problemsOf(result).first()));
}

/// A second server of the same tree, with the other chain.
bool tst_LiveCheck::startOtherServer(Studio &other) const
{
    velmo::studio::StudioServer::Options options = TestStudio::loopbackOptions();
    options.root = studio_->root();
    options.certificateChain = velmo::test::otherChain();
    return other.start(options);
}

/// The manifest names absolute addresses.
void tst_LiveCheck::moveContentTo(const QString &server) const
{
    const ContentTree tree(studio_->root(), u"harrowfen"_s);
    velmo::Manifest manifest = tree.readManifest(u"release"_s).manifest;
    for (velmo::ManifestFile &file : manifest.files) {
        file.url.replace(u"../files"_s, server + u"/harrowfen/files"_s);
    }
    QCOMPARE(tree.writeManifest(manifest), QString());
}

void tst_LiveCheck::certificateOfEveryServerIsLookedAt_data()
{
    QTest::addColumn<QString>("path"); // that is redirected to the other server
    QTest::addColumn<QString>("back"); // and from there back to the first
    QTest::newRow("addresses in the manifest") << QString() << QString();
    QTest::newRow("redirect of the manifest") << manifestPath << QString();
    QTest::newRow("redirect of a file") << pathOf("lantern") << QString();
    QTest::newRow("redirect of a file and back") << pathOf("lantern") << u"/lantern"_s;
    QTest::newRow("redirect of what is missing") << missingPath << QString();
}

void tst_LiveCheck::certificateOfEveryServerIsLookedAt()
{
    QFETCH(QString, path);
    QFETCH(QString, back);
    Studio other;
    QVERIFY(startOtherServer(other));
    if (path.isEmpty()) {
        moveContentTo(other.url(QString()).toString());
    } else {
        const QString target = back.isEmpty() ? path : back;
        studio_->server().addFault(path, with(Fault::Redirect, other.url(target).toString()));
        other.addFault(back, with(Fault::Redirect, studio_->url(u"/the lantern"_s).toString()));
        studio_->writeFile(u"/the lantern"_s, "lantern");
    }
    LiveOrder order = this->order();
    QCOMPARE(brokenOf(check(order)).value(0), certificates);

    order.trusted = QSslCertificate::fromData(velmo::test::otherChain(), QSsl::Pem);
    order.trusted += QSslCertificate::fromData(velmo::test::loopbackChain(), QSsl::Pem);
    const QDateTime end = order.trusted.first().expiryDate();
    velmo::publish::LiveCheck check(order);
    check.setNow(end.addDays(-15));
    const LiveResult early = check.run();
    QVERIFY2(!brokenOf(early).contains(certificates), qPrintable(problemsOf(early).join(u'\n')));
    check.setNow(end.addDays(-13));
    const LiveResult result = check.run();
    QCOMPARE(brokenOf(result).value(0), certificates);
    QVERIFY2(problemsOf(result).first().contains(u"127.0.0.1:%1 sends"_s.arg(other.port())),
             qPrintable(problemsOf(result).first()));
}

void tst_LiveCheck::serverThatIsNotThereIsToldOnce()
{
    const LiveOrder order = this->order();
    studio_->server().stop();
    const LiveResult result = check(order);
    QCOMPARE(brokenOf(result), QStringList{readable});
    QCOMPARE(keptOf(result), 0);
    QVERIFY(!result.isGood());
    QCOMPARE(result.files, 0);
}

void tst_LiveCheck::sampleIsTheSameEachTime()
{
    LiveOrder order = this->order();
    order.sample = 2;
    QStringList hashes = {sha256Of(pack()), sha256Of(""), sha256Of("lantern")};
    hashes.sort();
    for (int turn = 1; turn <= 2; ++turn) {
        const LiveResult result = check(order);
        QCOMPARE(problemsOf(result), QStringList());
        QCOMPARE(result.files, 3);
        QCOMPARE(result.filesAsked, 2);
        const auto requestsFor = [this](const QString &sha256) {
            return studio_->server().requests(u"/harrowfen/files/"_s + velmo::publish::TreeLayout::contentName(sha256));
        };
        QVERIFY(!requestsFor(hashes.at(0)).isEmpty());
        QVERIFY(!requestsFor(hashes.at(1)).isEmpty());
        QVERIFY(requestsFor(hashes.at(2)).isEmpty());
    }
}

void tst_LiveCheck::fewOfManyProblemsAreTold()
{
    for (int number = 0; number < 15; ++number) {
        fixture_->write(QString::number(number), "file " + QByteArray::number(number));
    }
    publishInto(studio_->root(), 2);
    for (int number = 0; number < 15; ++number) {
        studio_->server().addFault(pathOf("file " + QByteArray::number(number)), status(410));
    }
    const LiveResult result = check(order());
    QCOMPARE(brokenOf(result), QStringList{sizes});
    QCOMPARE(problemsOf(result).size(), 11);
    QCOMPARE(problemsOf(result).last(), u"It is the same with 5 more."_s);
}

void tst_LiveCheck::progressIsTold()
{
    velmo::publish::PublishProgress last;
    velmo::publish::LiveCheck check(order());
    check.setProgress([&last](const velmo::publish::PublishProgress &progress) { last = progress; });
    check.run();
    QVERIFY(last.finished);
    QCOMPARE(last.step, velmo::publish::PublishStep::Check);
    QCOMPARE(last.files, 3);
    QCOMPARE(last.filesDone, 3);
    QCOMPARE(last.bytes, pack().size() + 7);
    QCOMPARE(last.bytesDone, last.bytes);
}

int main(int argc, char **argv)
{
    return velmo::test::runTest<tst_LiveCheck>(argc, argv);
}

#include "tst_LiveCheck.moc"
