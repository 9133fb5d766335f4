// The monotonic clock of a test program, moved by nothing but its pauses.
//
// A program that links the CMake target rig has clock_gettime(CLOCK_MONOTONIC) answer this clock, and a
// timed wait on a condition variable move it to the deadline and time out at once. So a pause costs nothing
// and yet is seen by whatever asks the time, down to the nanosecond. Only for programs in which nobody
// signals a timed wait. Any thread.
#pragma once

#include <atomic>
#include <cstdint>

namespace VirtualClock {

// Nanoseconds since the program started.
inline std::atomic<std::uint64_t> now{0};

}  // namespace VirtualClock
