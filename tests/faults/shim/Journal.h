#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

namespace velmo::faults {

/// What a program did to its files. Each stands in the journal once it is done.
enum class Deed : std::uint32_t {
    Create, ///< a file came to be at `path`
    CreateUnnamed,
    Resize,   ///< of the file to `number` bytes
    Write,    ///< of `data` at offset `number`
    Rename,   ///< from `path` to `other`, over what stood there
    Link,     ///< the file got the name `path`
    MakeLink, ///< a symbolic link at `path` to `other`
    Remove,   ///< of the name `path`
    MakeFolder,
    RemoveFolder,
    SetMode, ///< of `path` to `number`
    Sync,    ///< of the file
    SyncAll,
};

/// One entry's beginning; `path`, `other` and `data` follow it.
struct JournalHead {
    Deed deed;
    std::uint32_t pathBytes;
    std::uint32_t otherBytes;
    std::uint32_t dataBytes;
    std::uint64_t file; ///< tells files apart, see fileNumber()
    std::int64_t number;
};

constexpr std::uint64_t fileNumber(std::uint64_t device, std::uint64_t inode)
{
    return (device << 40U) ^ inode;
}

/// Appends to the file that VELMO_FAULT_JOURNAL names; without it to nothing.
class Journal {
public:
    Journal();

    void add(Deed deed, std::uint64_t file, std::int64_t number, std::string_view path = {},
             std::string_view other = {}, std::string_view data = {}) const;

private:
    int descriptor_ = -1;
};

} // namespace velmo::faults
