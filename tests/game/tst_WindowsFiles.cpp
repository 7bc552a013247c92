// What a Windows file system does otherwise: files that are in use, read-only files, long paths, letters of one case. A
// full drive is tst_GameManagerFlows' affair on every platform.

#include "GameFixture.h"

#include "support/TestEnvironment.h"

#include <QDir>
#include <QFile>
#include <QProcess>
#include <QtTest>

#include <optional>

using namespace Qt::Literals::StringLiterals;
using namespace velmo;
using namespace velmo::test;

namespace {

const QString inUse = u"The launcher could not replace a game file. It may be in use."_s;

/// A build of a program and one file, \a path.
Build buildWith(const QString &path, const QByteArray &content, int number = 10)
{
    return {u"1.%1.0"_s.arg(number),
            number,
            {{u"bin/game"_s, "program", true, {}}, {path, content, false, {}}},
            u"bin/game"_s,
            {}};
}

/// Another program that has \a fileName open until this goes.
class Holder {
public:
    Holder(const QString &fileName, const QString &folder)
    {
        const QString ready = folder + u"/holds"_s;
        process_.start(gameProgram(), {u"hold="_s + fileName, u"record="_s + ready, u"until-input-ends"_s});
        holds_ = QTest::qWaitFor([&ready] { return QFile::exists(ready); }, waitMs);
    }
    ~Holder()
    {
        process_.closeWriteChannel();
        process_.waitForFinished();
    }
    Q_DISABLE_COPY_MOVE(Holder)

    bool holds() const { return holds_; }

private:
    QProcess process_;
    bool holds_ = false;
};

/// Presses the button after a failure until the update begins anew; false when it does not.
bool tryAgain(GameFixture &t)
{
    t->primaryAction();
    const bool offered = t.waitForState(GameState::UpdateAvailable);
    t->primaryAction();
    return offered;
}

} // namespace

class tst_WindowsFiles : public QObject {
    Q_OBJECT

    std::optional<GameStudio> studio_;

private slots:
    void initTestCase() { studio_.emplace(); }
    void cleanupTestCase() { studio_.reset(); }

    void fileInUseIsNotReplaced();
    void readOnlyFileIsNotReplaced();
    void staleFileInUseStays();
    void pathsMayBeLong();
    void namesMayHaveAnyLetters();
    void namesThatDifferInCaseAloneAreOneFile();
    void newCaseOfANameLosesTheFileUntilARepair();
};

void tst_WindowsFiles::fileInUseIsNotReplaced()
{
    GameFixture t(*studio_, {.installed = buildWith(u"data/one.dat"_s, "old")});
    const Build next = buildWith(u"data/one.dat"_s, "new bytes", 11);
    studio_->publish(next);
    QVERIFY(t.startAndCheck());
    {
        const Holder holder(t.root() + u"/data/one.dat"_s, t.folder());
        QVERIFY(holder.holds());
        t->primaryAction();
        QVERIFY(t.waitForState(GameState::Error));
    }
    QCOMPARE(t.errors().size(), 1);
    QCOMPARE(t.errors().first().first, inUse);
    QCOMPARE(t.errors().first().second, u"Could not remove existing %1/data/one.dat"_s.arg(t.root()));
    QCOMPARE(t.readFile(u"data/one.dat"_s), "old");
    QCOMPARE(t.readFile(u"data/one.dat.part"_s), "new bytes");

    QVERIFY(tryAgain(t));
    QVERIFY(t.waitForState(GameState::Installed));
    QVERIFY(t.holdsExactly(next));
}

void tst_WindowsFiles::readOnlyFileIsNotReplaced()
{
    GameFixture t(*studio_, {.installed = buildWith(u"data/one.dat"_s, "old")});
    const Build next = buildWith(u"data/one.dat"_s, "new bytes", 11);
    studio_->publish(next);
    QVERIFY(t.startAndCheck());
    const QString path = t.root() + u"/data/one.dat"_s;
    QVERIFY(QFile::setPermissions(path, QFileDevice::ReadOwner));
    t->primaryAction();
    QVERIFY(t.waitForState(GameState::Error));
    QCOMPARE(t.errors().first().first, inUse);
    QCOMPARE(t.errors().first().second, u"Could not remove existing "_s + path);
    QCOMPARE(t.readFile(u"data/one.dat"_s), "old");

    QVERIFY(QFile::setPermissions(path, QFileDevice::ReadOwner | QFileDevice::WriteOwner));
    QVERIFY(tryAgain(t));
    QVERIFY(t.waitForState(GameState::Installed));
    QVERIFY(t.holdsExactly(next));
}

void tst_WindowsFiles::staleFileInUseStays()
{
    GameFixture t(*studio_, {.installed = buildWith(u"data/old.dat"_s, "old"),
                             .offered = buildWith(u"data/new.dat"_s, "new", 11)});
    QVERIFY(t.startAndCheck());
    const Holder holder(t.root() + u"/data/old.dat"_s, t.folder());
    QVERIFY(holder.holds());
    t->primaryAction();
    QVERIFY(t.waitForState(GameState::Installed));
    QVERIFY(t.errors().isEmpty());
    QCOMPARE(t.filesOnDisk(), QStringList({u"bin/game"_s, u"data/new.dat"_s, u"data/old.dat"_s}));
}

void tst_WindowsFiles::pathsMayBeLong()
{
    GameFixture t(*studio_);
    const QString deep = QStringList(6, QString(45, u'd')).join(u'/');
    t.setRoot(t.folder() + u'/' + deep);
    QVERIFY(t.root().size() > 260);
    const Build first = buildWith(u"data/%1.dat"_s.arg(QString(40, u'f')), "old");
    studio_->publish(first);
    QVERIFY(t.startAndCheck());
    t->primaryAction();
    QVERIFY(t.waitForState(GameState::Installed));
    QVERIFY(t.holdsExactly(first));

    const Build next = buildWith(first.files.at(1).path, "new bytes", 11);
    studio_->publish(next);
    t.close();
    QVERIFY(t.startAndCheck());
    t.clearTrace();
    t->primaryAction();
    QVERIFY(t.waitUntilPast(GameState::Installing));
    QCOMPARE(t->state(), GameState::Installed);
    QVERIFY(t.holdsExactly(next));
    t->verifyFiles();
    QVERIFY(t.waitUntilPast(GameState::Verifying));
    QCOMPARE(t.passes().last().filesNeedingRepair().size(), 0);
}

void tst_WindowsFiles::namesMayHaveAnyLetters()
{
    GameFixture t(*studio_);
    t.setRoot(t.folder() + u"/Ünsere Spiele 火"_s);
    const Build build = buildWith(u"Däta/日本 – Ж.dat"_s, "bytes");
    studio_->publish(build);
    QVERIFY(t.startAndCheck());
    t->primaryAction();
    QVERIFY(t.waitForState(GameState::Installed));
    QVERIFY(t.holdsExactly(build));
}

/// A studio that builds on Linux can offer both; the second one stays, and a check finds the first one wrong.
void tst_WindowsFiles::namesThatDifferInCaseAloneAreOneFile()
{
    GameFixture t(*studio_);
    Build build = buildWith(u"data/One.dat"_s, "first");
    build.files.append({u"data/one.dat"_s, "the second", false, {}});
    studio_->publish(build);
    for (const BuildFile &file : std::as_const(build.files)) {
        studio_->server().setDocument(GameStudio::filePath(file.path),
                                      file.content); // its folder has the two as one, too
    }
    QVERIFY(t.startAndCheck());
    t->primaryAction();
    QVERIFY(t.waitForState(GameState::Installed));
    for (const BuildFile &file : std::as_const(build.files)) {
        studio_->server().removeDocument(GameStudio::filePath(file.path));
    }
    QVERIFY(t.errors().isEmpty());
    QCOMPARE(t.filesOnDisk().size(), 2);
    QCOMPARE(t.readFile(u"data/One.dat"_s), "the second");
    t->verifyFiles();
    QVERIFY(t.waitUntilPast(GameState::Verifying));
    QCOMPARE(t.passes().last().corrupt.size(), 1);
    QCOMPARE(t.passes().last().corrupt.first().path, u"data/One.dat"_s);
}

/// What left the build is told by its exact name, and here it names the new file as well.
void tst_WindowsFiles::newCaseOfANameLosesTheFileUntilARepair()
{
    GameFixture t(*studio_, {.installed = buildWith(u"data/One.dat"_s, "old")});
    const Build next = buildWith(u"data/one.dat"_s, "new bytes", 11);
    studio_->publish(next);
    QVERIFY(t.startAndCheck());
    t->primaryAction();
    QVERIFY(t.waitUntilPast(GameState::Installing));
    QCOMPARE(t->state(), GameState::Installed);
    QVERIFY(!t.hasFile(u"data/one.dat"_s));
    t->verifyFiles();
    QVERIFY(t.waitUntilPast(GameState::Repairing));
    QVERIFY(t.waitForState(GameState::Installed));
    QVERIFY(t.holdsExactly(next));
}

int main(int argc, char **argv)
{
    return velmo::test::runTest<tst_WindowsFiles>(argc, argv);
}

#include "tst_WindowsFiles.moc"
