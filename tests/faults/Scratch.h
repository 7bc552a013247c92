#pragma once

#include "tools/publish/SmallDrive.h"

#include <QString>
#include <QTemporaryDir>

namespace velmo::faults {

/// A file system for one trial, which only this program and its children see: a user's home, the drive that the game is
/// to lie on, the program that is tried, and, outside of all that the program may touch, files and folders that must
/// stay.
class Scratch {
public:
    /// Every file system needs SmallDrive::prepare() first. Without one, both drives are plain folders.
    Scratch();
    Q_DISABLE_COPY_MOVE(Scratch)

    QString folder() const { return top_.path(); }
    QString home() const { return folder() + QStringLiteral("/home"); }
    /// Where the launcher keeps its own.
    QString data() const { return home() + QStringLiteral("/.config/VelmoGames/Launcher"); }
    QString drive() const { return folder() + QStringLiteral("/drive"); }
    QString programs() const { return folder() + QStringLiteral("/programs"); }
    /// A file outside that holds something.
    QString outsideFile() const { return folder() + QStringLiteral("/outside/kept.txt"); }
    /// Where the rest of a full drive goes; on \a folder's file system.
    static QString filler(const QString &folder) { return folder + QStringLiteral("/filler"); }

    bool hasDrives() const { return whole_.isMounted() && drive_.isMounted(); }
    /// Leaves \a bytes or a little less free on the file system of \a folder, by a file in it.
    static void fill(const QString &folder, qint64 bytes);
    static void makeRoom(const QString &folder);
    /// False while somebody has a file open for writing there.
    [[nodiscard]] bool setDriveReadOnly(bool readOnly) const;

private:
    QTemporaryDir top_;
    test::SmallDrive whole_;
    test::SmallDrive drive_;
};

} // namespace velmo::faults
