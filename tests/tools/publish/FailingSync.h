#pragma once

#include <QtGlobal>

namespace velmo::test {

/// While it lives, every fsync() of this program fails with \a error, as that of a network drive which is full: it took
/// all that was written and has no place for it.
class FailingSync {
public:
    explicit FailingSync(int error);
    ~FailingSync();
    Q_DISABLE_COPY_MOVE(FailingSync)
};

} // namespace velmo::test
