#include "support/VirtualClock.h"

#include <pthread.h>

#include <cerrno>
#include <ctime>

#include "support/Wrap.h"

using VirtualClock::now;

constexpr std::uint64_t Second = 1'000'000'000;  // ns

WRAP(int, clock_gettime, clockid_t clock, timespec* time) {
  if (clock != CLOCK_MONOTONIC) return __real_clock_gettime(clock, time);
  const std::uint64_t nanoseconds = now;
  *time = {static_cast<std::time_t>(nanoseconds / Second), static_cast<long>(nanoseconds % Second)};
  return 0;
}

WRAP(int, pthread_cond_timedwait, pthread_cond_t*, pthread_mutex_t*, const timespec* deadline) {
  const auto seconds = static_cast<std::uint64_t>(deadline->tv_sec);
  const auto end = seconds * Second + static_cast<std::uint64_t>(deadline->tv_nsec);
  for (std::uint64_t before = now; before < end && !now.compare_exchange_weak(before, end);) continue;
  return ETIMEDOUT;
}
