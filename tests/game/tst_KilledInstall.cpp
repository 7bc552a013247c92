#include "GameFixture.h"

#include "support/TestEnvironment.h"
#include "support/TestFiles.h"

#include <QDir>
#include <QDirIterator>
#include <QElapsedTimer>
#include <QFile>
#include <QFileInfo>
#include <QJsonDocument>
#include <QProcess>
#include <QRandomGenerator>
#include <QRegularExpression>
#include <QtTest>

#include <algorithm>
#include <array>
#include <optional>

using namespace Qt::Literals::StringLiterals;
using namespace velmo;
using namespace velmo::test;

namespace {

constexpr quint32 seed = 20240229;
constexpr double runSeconds = 0.6; // of transfer, when the rate is limited
constexpr double earlier = 0.8;    // of its delay, for a kill that came after the end
constexpr int killsAmidAFile = 2;
#ifdef Q_OS_WIN
constexpr int killsAtRandom = 6; // a program takes long to start under Wine
#else
constexpr int killsAtRandom = 18;
#endif

QString installerProgram()
{
    return QString::fromUtf8(VELMO_TEST_INSTALLER);
}

QByteArray noise(qsizetype words, quint32 number)
{
    QList<quint32> values(words);
    QRandomGenerator(number).fillRange(values.data(), values.size());
    return {reinterpret_cast<const char *>(values.constData()), words * qsizetype(sizeof(quint32))};
}

/// Twelve files, 7.5 MB.
Build heavyBuild()
{
    Build build{u"1.0.0"_s, 10, {{u"bin/game"_s, noise(150000, 1), true, {}}}, u"bin/game"_s, {}};
    for (quint32 i = 0; i < 9; ++i) {
        build.files.append(
            {u"data/part-%1.pak"_s.arg(i), noise(100000 + 25000 * qsizetype(i % 5), 100 + i), false, {}});
    }
    build.files.append({u"old/one.pak"_s, noise(125000, 200), false, {}});
    build.files.append({u"old/two.pak"_s, noise(225000, 201), false, {}});
    return build;
}

/// That build with five files changed, two added and the two in "old" gone.
Build heavyUpdate()
{
    Build build = heavyBuild();
    build.version = u"1.1.0"_s;
    build.build = 11;
    build.files.resize(10);
    for (qsizetype i = 0; i < 10; i += 2) {
        build.files[i].content = noise(150000 + 12500 * i, 300 + static_cast<quint32>(i));
    }
    build.files.append({u"new/one.pak"_s, noise(200000, 400), false, {}});
    build.files.append({u"new/deeper/two.pak"_s, noise(100000, 401), false, {}});
    return build;
}

qint64 changedBytes(const Build &before, const Build &after)
{
    qint64 bytes = 0;
    for (const BuildFile &file : after.files) {
        if (before.content(file.path) != file.content) {
            bytes += file.content.size();
        }
    }
    return bytes;
}

/// The files of the first build that a repair finds damaged, by their place in it.
constexpr std::array<qsizetype, 5> damagedFiles = {0, 3, 7, 8, 11};

qint64 damagedBytes()
{
    const Build build = heavyBuild();
    qint64 bytes = 0;
    for (const qsizetype index : damagedFiles) {
        bytes += build.files.at(index).content.size();
    }
    return bytes;
}

/// One player's folders, and what they must hold at any moment.
class Player {
public:
    /// \a before is what is installed, or std::nullopt; \a after is what the studio offers.
    Player(const std::optional<Build> &before, const Build &after)
        : before_(before)
        , after_(after)
    {
        if (before_) {
            for (const BuildFile &file : std::as_const(before_->files)) {
                write(file.path, file.content);
            }
            write(recordPath, QJsonDocument(before_->manifest().toJson()).toJson());
        }
    }

    void write(const QString &path, const QByteArray &bytes)
    {
        writeFile(rootFile(path), bytes);
        if (!path.startsWith(u'.')) {
            standing_.insert(path, bytes);
        }
    }
    void remove(const QString &path)
    {
        QFile::remove(rootFile(path));
        standing_.remove(path);
    }

    void start(QProcess &launcher, const QString &operation) const
    {
        QProcessEnvironment environment = TestEnvironment::redirected(folder_.filePath(u"home"_s));
        // The launcher of this test ends within milliseconds of its last reply, while the network's own thread still
        // tears down; leaks are looked for by the tests that end in peace.
        environment.insert(u"ASAN_OPTIONS"_s, u"detect_leaks=0"_s);
        launcher.setProcessEnvironment(environment);
        launcher.setProcessChannelMode(QProcess::MergedChannels);
        launcher.start(installerProgram(), {folder_.filePath(u"root"_s), operation});
    }

    /// Whether a file has arrived in part.
    bool isMidFile() const
    {
        const QStringList paths = pathsBelow(folder_.filePath(u"root"_s));
        return std::any_of(paths.begin(), paths.end(), [this](const QString &path) {
            return path.endsWith(".part"_L1) && QFileInfo(rootFile(path)).size() > 0;
        });
    }

    /// What is wrong in the middle of an operation; empty when nothing is.
    QString problemAfterKill() const
    {
        const QByteArray record = readFile(rootFile(recordPath), {});
        const bool recorded = QFile::exists(rootFile(recordPath));
        const QJsonObject object = QJsonDocument::fromJson(record).object();
        const bool isNew = recorded && object == after_.manifest().toJson();
        const bool isOld = before_ ? recorded && object == before_->manifest().toJson() : !recorded;
        if (!isOld && !isNew) {
            return u"the record is neither the old nor the new one: %1 bytes"_s.arg(record.size());
        }
        const bool sameBuild = isOld && isNew;
        return firstOf({problemWithSettings(), problemWithPlaces(), problemWithFiles(isNew && !sameBuild)});
    }

    /// What is wrong when an operation has come to its end; empty when nothing is.
    QString problemAtTheEnd() const
    {
        const QJsonObject object = QJsonDocument::fromJson(readFile(rootFile(recordPath))).object();
        if (object != after_.manifest().toJson()) {
            return u"the record is not that of the offered build"_s;
        }
        const QStringList paths = pathsBelow(folder_.filePath(u"root"_s));
        for (const QString &path : paths) {
            if (!path.startsWith(".velmo/"_L1) && after_.content(path).isNull()) {
                return u"left over: "_s + path;
            }
        }
        return firstOf({problemWithSettings(), problemWithPlaces(), problemWithFiles(true)});
    }

private:
    static const QString recordPath;

    QString rootFile(const QString &path) const { return folder_.filePath(u"root/"_s + path); }

    static QString firstOf(const QStringList &problems)
    {
        const auto found =
            std::find_if(problems.begin(), problems.end(), [](const QString &p) { return !p.isEmpty(); });
        return found == problems.end() ? QString() : *found;
    }

    static QStringList pathsBelow(const QString &folder)
    {
        QStringList paths;
        QDirIterator files(folder, QDir::Files | QDir::Hidden | QDir::System, QDirIterator::Subdirectories);
        while (files.hasNext()) {
            paths.append(QDir(folder).relativeFilePath(files.next()));
        }
        return paths;
    }

    QString problemWithSettings() const
    {
        const QString fileName =
            TestEnvironment::dataLocation(folder_.filePath(u"home"_s)) + u"/VelmoGames/Launcher/launcher.json"_s;
        if (QFile::exists(fileName) && !QJsonDocument::fromJson(readFile(fileName)).isObject()) {
            return u"the settings are damaged"_s;
        }
        return {};
    }

    /// Files stand only where they belong. A replacement that was being written may be left beside its target.
    QString problemWithPlaces() const
    {
        static const QRegularExpression own(
            u"^(home/(\\.config|Local)/VelmoGames/Launcher/launcher\\.json(\\.[A-Za-z]{6})?"
            "|root/\\.velmo/(installed\\.json(\\.[A-Za-z]{6})?|write-test\\.tmp))$"_s);
        const QStringList paths = pathsBelow(folder_.path());
        for (const QString &path : paths) {
            QString inBuild = path.mid(5);
            if (inBuild.endsWith(".part"_L1)) {
                inBuild.chop(5);
            }
            const bool known =
                path.startsWith("root/"_L1) && (!after_.content(inBuild).isNull() || standing_.contains(inBuild));
            if (!known && !own.match(path).hasMatch()) {
                return u"a file where none belongs: "_s + path;
            }
        }
        return {};
    }

    /// Each file is what stood there before or, whole, what the studio offers; with \a complete, the latter.
    QString problemWithFiles(bool complete) const
    {
        for (const BuildFile &file : after_.files) {
            const QByteArray bytes = readFile(rootFile(file.path));
            if (bytes == file.content) {
                continue;
            }
            if (complete) {
                return u"not the offered file: "_s + file.path;
            }
            if (QFile::exists(rootFile(file.path)) && bytes != standing_.value(file.path)) {
                return u"neither the old nor the new file: "_s + file.path;
            }
            const bool untouched =
                before_ && before_->content(file.path) == file.content && standing_.value(file.path) == file.content;
            if (untouched) {
                return u"a file that no update concerns is gone: "_s + file.path;
            }
        }
        return {};
    }

    QTemporaryDir folder_;
    std::optional<Build> before_;
    Build after_;
    QHash<QString, QByteArray> standing_; ///< the files on the disk before the operation
};

const QString Player::recordPath = u".velmo/installed.json"_s;

/// A player with that operation before them.
std::unique_ptr<Player> makePlayer(const QString &operation)
{
    if (operation == "install"_L1) {
        return std::make_unique<Player>(std::nullopt, heavyBuild());
    }
    if (operation == "update"_L1) {
        return std::make_unique<Player>(heavyBuild(), heavyUpdate());
    }
    auto player = std::make_unique<Player>(heavyBuild(), heavyBuild());
    const Build build = heavyBuild();
    const auto damaged = [&build](size_t i) { return build.files.at(damagedFiles.at(i)); };
    player->remove(damaged(0).path);
    QByteArray altered = damaged(1).content;
    altered[1000] = static_cast<char>(altered.at(1000) ^ 1);
    player->write(damaged(1).path, altered);
    player->write(damaged(2).path, damaged(2).content.first(1000));
    player->write(damaged(3).path, "damaged");
    player->remove(damaged(4).path);
    return player;
}

/// Whether \a launcher, if it has ended by itself, has done its work.
bool isContent(QProcess &launcher)
{
    if (launcher.state() == QProcess::NotRunning && launcher.exitStatus() == QProcess::NormalExit &&
        launcher.exitCode() != 0) {
        QTest::qFail(launcher.readAll().constData(), __FILE__, __LINE__);
        return false;
    }
    return true;
}

/// False when it has ended by itself before.
bool kill(QProcess &launcher)
{
    launcher.kill();
    return launcher.waitForFinished(waitMs) && launcher.exitStatus() == QProcess::CrashExit;
}

/// The player of a run that was killed after \a delayMs or, where runs end before that, earlier; null after a failure.
std::unique_ptr<Player> killAfter(double delayMs, const QString &operation)
{
    for (;; delayMs *= earlier) {
        std::unique_ptr<Player> player = makePlayer(operation);
        QProcess launcher;
        player->start(launcher, operation);
        if (!launcher.waitForStarted(waitMs)) {
            return nullptr;
        }
        if (!launcher.waitForFinished(static_cast<int>(delayMs)) && kill(launcher)) {
            return player;
        }
        if (!isContent(launcher)) {
            return nullptr;
        }
    }
}

/// Waits for a file that has arrived in part; false when \a launcher ends without one.
bool waitForAPart(QProcess &launcher, const Player &player)
{
    constexpr int pollMs = 5;
    while (!player.isMidFile()) {
        if (launcher.waitForFinished(pollMs)) {
            return false;
        }
    }
    return true;
}

/// The player of a run that was killed while a file had arrived in part; null after a failure.
std::unique_ptr<Player> killAmidAFile(GameStudio &studio, qint64 bytesPerSecond, const QString &operation)
{
    constexpr qint64 slowest = 1000;
    for (qint64 rate = bytesPerSecond;;
         rate = std::max(rate / 2, slowest)) { // the slower, the longer is a file in part
        studio.server().setBytesPerSecond(rate);
        std::unique_ptr<Player> player = makePlayer(operation);
        QProcess launcher;
        player->start(launcher, operation);
        if (!launcher.waitForStarted(waitMs)) {
            return nullptr;
        }
        if (waitForAPart(launcher, *player) && kill(launcher) && player->isMidFile()) {
            return player;
        }
        if (!isContent(launcher)) {
            return nullptr;
        }
    }
}

/// What is wrong with a run of \a operation that nobody disturbs; empty when nothing is.
QString problemWithRun(const Player &player, const QString &operation)
{
    QProcess launcher;
    player.start(launcher, operation);
    if (!launcher.waitForFinished(waitMs)) {
        return u"the launcher does not end (%1), and said: %2"_s.arg(launcher.errorString(),
                                                                     QString::fromUtf8(launcher.readAll()));
    }
    if (launcher.exitStatus() != QProcess::NormalExit || launcher.exitCode() != 0) {
        return u"the launcher fails: "_s + QString::fromUtf8(launcher.readAll());
    }
    return player.problemAtTheEnd();
}

} // namespace

class tst_KilledInstall : public QObject {
    Q_OBJECT

    std::optional<GameStudio> studio_;

private slots:
    void initTestCase();
    void cleanupTestCase();
    void killAtAnyMomentLosesNothing_data();
    void killAtAnyMomentLosesNothing();
};

void tst_KilledInstall::initTestCase()
{
    studio_.emplace();
    studio_->writeProfile(QFileInfo(installerProgram()).path());
}

void tst_KilledInstall::cleanupTestCase()
{
    QFile::remove(QFileInfo(installerProgram()).path() + u"/game.json"_s);
    studio_.reset();
}

void tst_KilledInstall::killAtAnyMomentLosesNothing_data()
{
    QTest::addColumn<qint64>("bytes");
    QTest::newRow("install") << heavyBuild().totalSize();
    QTest::newRow("update") << changedBytes(heavyBuild(), heavyUpdate());
    QTest::newRow("repair") << damagedBytes();
}

void tst_KilledInstall::killAtAnyMomentLosesNothing()
{
    QFETCH(const qint64, bytes);
    const QString operation = QString::fromUtf8(QTest::currentDataTag());
    const auto limitedRate = static_cast<qint64>(static_cast<double>(bytes) / runSeconds);
    studio_->reset();
    studio_->publish(operation == "update"_L1 ? heavyUpdate() : heavyBuild());

    // How long a run takes that nobody disturbs: the shorter of two, since the first may have to warm up.
    studio_->server().setBytesPerSecond(limitedRate);
    double runMs = waitMs;
    for (int run = 0; run < 2; ++run) {
        const std::unique_ptr<Player> undisturbed = makePlayer(operation);
        QElapsedTimer clock;
        clock.start();
        QCOMPARE(problemWithRun(*undisturbed, operation), QString());
        runMs = std::min(runMs, static_cast<double>(clock.elapsed()));
    }

    QRandomGenerator random(seed);
    for (int i = 0; i < killsAtRandom + killsAmidAFile; ++i) {
        const double delayMs = runMs * (i + random.generateDouble()) / killsAtRandom;
        const bool isAimed = i >= killsAtRandom;
        const QString moment = isAimed ? u"amid a file"_s : u"after %1 of %2 ms"_s.arg(delayMs).arg(runMs);
        const QString where = u"%1, kill %2 %3, seed %4: "_s.arg(operation, QString::number(i), moment).arg(seed);
        studio_->server().setBytesPerSecond(limitedRate);
        const std::unique_ptr<Player> player =
            isAimed ? killAmidAFile(*studio_, limitedRate / 4, operation) : killAfter(delayMs, operation);
        QVERIFY2(player, qPrintable(where + u"no run could be killed"_s));
        QString problem = player->problemAfterKill();
        QVERIFY2(problem.isEmpty(), qPrintable(where + problem));

        studio_->server().setBytesPerSecond(0);
        problem = problemWithRun(*player, operation);
        QVERIFY2(problem.isEmpty(), qPrintable(where + problem));
    }
}

int main(int argc, char **argv)
{
    return velmo::test::runTest<tst_KilledInstall>(argc, argv);
}

#include "tst_KilledInstall.moc"
