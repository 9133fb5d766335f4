// The monotonic clock of a test program that links this for the system's. A timed wait on a condition
// variable moves it to the deadline and times out at once: a pause takes no time, and shows to the
// nanosecond. Only for programs in which nobody signals a timed wait. Any thread.
#pragma once

#include <atomic>
#include <cstdint>

namespace VirtualClock {

// Nanoseconds since the program started.
inline std::atomic<std::uint64_t> now{0};

}  // namespace VirtualClock
