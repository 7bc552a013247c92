#include "support/FullDrive.h"

#ifdef Q_OS_UNIX
#include <csignal>
#include <sys/resource.h>
#endif

namespace velmo::test {

#ifdef Q_OS_UNIX

namespace {

/// Sets the bound of this program; what it was before.
rlim_t setBound(rlim_t bytes)
{
    rlimit limit{};
    getrlimit(RLIMIT_FSIZE, &limit);
    const rlim_t before = limit.rlim_cur;
    limit.rlim_cur = bytes;
    setrlimit(RLIMIT_FSIZE, &limit);
    return before;
}

} // namespace

FullDrive::FullDrive(qint64 bytes)
    : limitBefore_(setBound(static_cast<rlim_t>(bytes)))
    , handlerBefore_(std::signal(SIGXFSZ, SIG_IGN))
{}

FullDrive::~FullDrive()
{
    setBound(limitBefore_);
    std::signal(SIGXFSZ, handlerBefore_);
}

#else

FullDrive::FullDrive(qint64 /*bytes*/)
{
    qFatal("No drive can be made to seem full here");
}

FullDrive::~FullDrive() = default;

#endif

} // namespace velmo::test
