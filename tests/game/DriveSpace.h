#pragma once

#include <QtGlobal>

namespace velmo::test {

/// While it lives, every drive has \a freeBytes left as far as this program is told; a negative number makes the
/// question fail. Link DriveSpace.cpp into the program itself: it stands before the C library's function. Not on
/// Windows.
class DriveSpace {
public:
    explicit DriveSpace(qint64 freeBytes);
    ~DriveSpace();
    DriveSpace(const DriveSpace &) = delete;
    DriveSpace &operator=(const DriveSpace &) = delete;
};

} // namespace velmo::test
