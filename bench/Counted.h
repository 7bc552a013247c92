#pragma once

#if __has_include(<valgrind/callgrind.h>)
#include <valgrind/callgrind.h>
#else
#define CALLGRIND_START_INSTRUMENTATION
#define CALLGRIND_STOP_INSTRUMENTATION
#endif

namespace velmo::bench {

/// While one lives, a callgrind that was started with --instr-atstart=no counts the instructions of every thread.
class Counted {
public:
    Counted() { CALLGRIND_START_INSTRUMENTATION; }
    ~Counted() { CALLGRIND_STOP_INSTRUMENTATION; }
    Counted(const Counted &) = delete;
    Counted &operator=(const Counted &) = delete;
};

} // namespace velmo::bench
