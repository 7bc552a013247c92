#pragma once

#include <QtGlobal>

namespace velmo::test {

/// While it lives, this thread and the threads that it starts are bound by file permissions even when the tests run as
/// root.
class PlainUserRights {
public:
    PlainUserRights();
    ~PlainUserRights();
    Q_DISABLE_COPY_MOVE(PlainUserRights)

private:
    quint32 taken_ = 0; ///< the effective capabilities to give back
};

} // namespace velmo::test
