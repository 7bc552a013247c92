#include "Journal.h"

#include <cstdlib>
#include <fcntl.h>
#include <string>
#include <sys/syscall.h>
#include <unistd.h>

namespace velmo::faults {

Journal::Journal()
{
    if (const char *const name = std::getenv("VELMO_FAULT_JOURNAL")) {
        // By the system call, since open() is our own.
        descriptor_ =
            static_cast<int>(syscall(SYS_openat, AT_FDCWD, name, O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0600));
    }
}

void Journal::add(Deed deed, std::uint64_t file, std::int64_t number, std::string_view path, std::string_view other,
                  std::string_view data) const
{
    if (descriptor_ < 0) {
        return;
    }
    const JournalHead head{deed,
                           static_cast<std::uint32_t>(path.size()),
                           static_cast<std::uint32_t>(other.size()),
                           static_cast<std::uint32_t>(data.size()),
                           file,
                           number};
    std::string entry(reinterpret_cast<const char *>(&head), sizeof head);
    entry.append(path).append(other).append(data);
    if (syscall(SYS_write, descriptor_, entry.data(), entry.size()) != static_cast<long>(entry.size())) {
        std::abort(); // a journal with gaps would tell of a disk that never was
    }
}

} // namespace velmo::faults
