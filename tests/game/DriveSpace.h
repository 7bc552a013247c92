#pragma once

#include <QtGlobal>

namespace velmo::test {

/// While it lives, every drive has \a freeBytes left as far as this program is told; a negative number makes the
/// question fail. Its source, VELMO_DRIVE_SPACE to CMake, belongs into the program itself: on Unix it stands before the
/// C library's function.
class DriveSpace {
public:
    explicit DriveSpace(qint64 freeBytes);
    ~DriveSpace();
    DriveSpace(const DriveSpace &) = delete;
    DriveSpace &operator=(const DriveSpace &) = delete;
};

} // namespace velmo::test
