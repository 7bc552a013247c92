#include "support/FullDrive.h"

#include <csignal>
#include <sys/resource.h>

namespace velmo::test {

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

} // namespace velmo::test
