#pragma once

namespace velmo::bench {

/// Lets the start settle, watches this process do nothing for \a seconds, prints what of a processor that took, and
/// ends the program. For Unix, which counts a process's time and a thread's wake-ups.
void watchRest(int seconds);

} // namespace velmo::bench
