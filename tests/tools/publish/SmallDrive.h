#pragma once

#include <QString>

namespace velmo::test {

/// A real file system of a few pages over a folder, which only this program and its children see. What does not fit is
/// refused by the kernel, as on any full drive. Lives as long as the object.
class SmallDrive {
public:
    /// Every file takes whole pages of the drive.
    static constexpr qint64 pageSize = 4096; // bytes

    /// Gives this program file systems of its own. To be called while it has a single thread, so at the start of main;
    /// works for root, and for others where the kernel lets them. False with the reason on the error output.
    [[nodiscard]] static bool prepare();

    /// \a folder is made when it is missing.
    SmallDrive(const QString &folder, qint64 bytes);
    ~SmallDrive();
    Q_DISABLE_COPY_MOVE(SmallDrive)

    bool isMounted() const { return mounted_; }
    qint64 freeBytes() const;
    /// Leaves exactly \a bytes free, whole pages, by a file that fills the rest.
    [[nodiscard]] bool fillUpTo(qint64 bytes) const;
    /// Takes the filling file away.
    void makeRoom() const;

private:
    QString fillerPath() const;

    QString folder_;
    bool mounted_;
};

} // namespace velmo::test
