#pragma once

#include <QtGlobal>

namespace velmo::test {

/// While it lives, no file of this program grows beyond \a bytes: what is written past it fails, as on a full drive.
/// On
/// Windows this holds for what Qt writes.
class FullDrive {
public:
    explicit FullDrive(qint64 bytes);
    ~FullDrive();
    Q_DISABLE_COPY_MOVE(FullDrive)

private:
#ifdef Q_OS_UNIX
    quint64 limitBefore_ = 0;
    void (*handlerBefore_)(int) = nullptr;
#endif
};

} // namespace velmo::test
