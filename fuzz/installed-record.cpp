// The record of an installed build as it may lie in the install folder: .velmo/installed.json.

#include "Target.h"
#include "game/InstallManager.h"

#include <QDir>
#include <QFileInfo>

using namespace Qt::Literals::StringLiterals;
using velmo::InstallManager;
using velmo::Manifest;
using velmo::fuzz::readFile;
using velmo::fuzz::require;
using velmo::fuzz::warnings;
using velmo::fuzz::writeFile;

namespace {

/// Neighbours of the install folder, among them one whose name begins with its own.
const QStringList bystanders = {u"settings.json"_s, u"game2/save.dat"_s, u"other/game/save.dat"_s};

bool isBelow(const QString &path, const QString &folder)
{
    return path.startsWith(folder + u'/') && QDir::cleanPath(path) == path;
}

void checkRecord(InstallManager &install, const Manifest &record)
{
    require(warnings() == 0, "a valid record brings no warning");
    const QString program = install.executablePath();
    require(program.isEmpty() || isBelow(program, install.installRoot()), "the game's program lies in its folder");

    require(install.commitInstalledManifest(record), "what was read as a record can be written as one");
    const Manifest back = install.loadInstalledManifest();
    require(back.valid && back.build == record.build && back.files.size() == record.files.size(),
            "a record that is rewritten says the same");
}

/// A build that is gone takes its files with it, and no other.
void checkRemoval(InstallManager &install, const Manifest &record)
{
    const QString game = QDir(install.installRoot()).filePath(u"a/kept.pak"_s);
    writeFile(game, "kept");
    Manifest next;
    next.files.append({u"a/kept.pak"_s, QString(64, u'a'), 4, {}, false});
    const int removed = install.removeStaleFiles(record, next);
    require(removed >= 0 && removed <= record.files.size(), "no more files go than the record names");
    require(readFile(game) == "kept", "what the next build holds stays");
}

} // namespace

void velmo::fuzz::feed(const QByteArray &input)
{
    makeApplication();
    const QString folder = scratchFolder();
    for (const QString &bystander : bystanders) {
        writeFile(folder + u'/' + bystander, "not the game's");
    }
    InstallManager install;
    install.setInstallRoot(folder + u"/game"_s);
    writeFile(install.metadataDir() + u"/installed.json"_s, input);

    require(install.hasInstalledManifest(), "a record that is there is seen");
    const Manifest record = install.loadInstalledManifest();
    if (record.valid) {
        checkRecord(install, record);
        checkRemoval(install, record);
    } else {
        require(warnings() == 1, "a record that is refused is told in one line");
        require(!install.commitInstalledManifest(record), "no invalid manifest becomes the record");
        require(readFile(install.metadataDir() + u"/installed.json"_s) == input, "a refused record is left alone");
    }
    for (const QString &bystander : bystanders) {
        require(readFile(folder + u'/' + bystander) == "not the game's", "what is not the game's stays as it was");
    }
}
