#include "support/PlainUserRights.h"

#ifdef Q_OS_LINUX
#include <array>
#include <linux/capability.h>
#include <sys/syscall.h>
#include <unistd.h>
#endif

namespace velmo::test {

#ifdef Q_OS_LINUX

namespace {

constexpr quint32 beyondPermissions = (1U << CAP_DAC_OVERRIDE) | (1U << CAP_DAC_READ_SEARCH);

using CapabilitySets = std::array<__user_cap_data_struct, _LINUX_CAPABILITY_U32S_3>;

CapabilitySets capabilities()
{
    __user_cap_header_struct header{_LINUX_CAPABILITY_VERSION_3, 0};
    CapabilitySets sets{};
    if (syscall(SYS_capget, &header, sets.data()) != 0) {
        qFatal("The capabilities of this thread cannot be read");
    }
    return sets;
}

void setCapabilities(const CapabilitySets &sets)
{
    __user_cap_header_struct header{_LINUX_CAPABILITY_VERSION_3, 0};
    if (syscall(SYS_capset, &header, sets.data()) != 0) {
        qFatal("The capabilities of this thread cannot be set");
    }
}

} // namespace

PlainUserRights::PlainUserRights()
{
    CapabilitySets sets = capabilities();
    taken_ = sets[0].effective & beyondPermissions;
    sets[0].effective &= ~beyondPermissions;
    setCapabilities(sets);
}

PlainUserRights::~PlainUserRights()
{
    CapabilitySets sets = capabilities();
    sets[0].effective |= taken_;
    setCapabilities(sets);
}

#else

PlainUserRights::PlainUserRights() = default;
PlainUserRights::~PlainUserRights() = default;

#endif

} // namespace velmo::test
