#include "data/GameProfile.h"
#include "game/InstallManager.h"
#include "support/LogCapture.h"
#include "support/TestEnvironment.h"

#include <QTemporaryDir>

using namespace Qt::Literals::StringLiterals;
using velmo::InstallManager;
using velmo::Manifest;
using velmo::test::LogCapture;

/// The profile of this program does not name the game's program.
class tst_InstallManagerWithoutProfile : public QObject {
    Q_OBJECT

private slots:
    void executableIsThatOfTheRecordAlone();
};

void tst_InstallManagerWithoutProfile::executableIsThatOfTheRecordAlone()
{
    const LogCapture log;
    QCOMPARE(velmo::gameProfile().executable, QString());
    const QTemporaryDir folder;
    InstallManager manager;
    manager.setInstallRoot(folder.path());
    QCOMPARE(manager.executablePath(), QString());

    Manifest manifest;
    manifest.valid = true;
    manifest.version = u"1.0"_s;
    QVERIFY(manager.commitInstalledManifest(manifest));
    QCOMPARE(manager.executablePath(), QString());

    manifest.executable = u"bin/game"_s;
    QVERIFY(manager.commitInstalledManifest(manifest));
    QCOMPARE(manager.executablePath(), folder.filePath(u"bin/game"_s));
}

int main(int argc, char **argv)
{
    return velmo::test::runTest<tst_InstallManagerWithoutProfile>(argc, argv);
}

#include "tst_InstallManagerWithoutProfile.moc"
