#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace velmo::faults {

/// What can be made to go wrong.
enum class Call { Open, Read, Write, Sync, Rename, Remove, MakeFolder };

/// What is to become of one call.
struct Verdict {
    int error = 0;           ///< as errno has it; 0 lets the call go on
    bool writesLess = false; ///< half of it is written
    bool kills = false;      ///< the program ends here, with half of a write's pages done
};

/// What this program is to suffer, from its environment:
/// VELMO_FAULT_FOLDER  the folder with all the files that are meant; the logs in it are left alone, whose failures are
///                     silent and would hide the others
/// VELMO_FAULT_FAIL    CALL,FIRST,COUNT,ERROR and so on, with ";" between: from the FIRST such call, from 1, so many
/// fail
///                     with that errno, or write less where it is 0. CALL is a number of Call, or -1 for all that
///                     change the disk
/// VELMO_FAULT_KILL    the number of the change to the disk, from 1, at which the program is killed
/// VELMO_FAULT_CLOCK   MILLISECONDS,SECONDS and so on, with ";" between: from so long after the start the clock is
///                     wrong by so much
class Plan {
public:
    Plan();

    bool concerns(const std::string &path) const;
    Verdict next(Call call);
    /// Seconds by which the clock is wrong now.
    std::int64_t clockError() const;

private:
    struct Failure {
        int call;
        std::int64_t first;
        std::int64_t count;
        int error;
    };
    struct Jump {
        std::int64_t afterMs;
        std::int64_t seconds;
    };

    std::string folder_;
    std::vector<Failure> failures_;
    std::vector<Jump> jumps_;
    std::int64_t killAt_ = 0;
    std::int64_t startMs_ = 0;
    std::int64_t changes_ = 0;
    std::int64_t calls_[7] = {};
};

} // namespace velmo::faults
