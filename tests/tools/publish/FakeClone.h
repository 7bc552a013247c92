#pragma once

#include <QByteArray>

namespace velmo::test {

/// While it lives, every file of this program that is to share the bytes of another on the drive can do so, as on Btrfs
/// or XFS, and gets \a bytes as if the other held them at that moment.
class FakeClone {
public:
    explicit FakeClone(const QByteArray &bytes);
    ~FakeClone();
    Q_DISABLE_COPY_MOVE(FakeClone)

    /// How many files have been cloned.
    static int clones();
};

} // namespace velmo::test
