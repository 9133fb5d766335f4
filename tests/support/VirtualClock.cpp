#include "support/VirtualClock.h"

#include <pthread.h>

#include <cerrno>
#include <ctime>

#include "support/Wrap.h"

using VirtualClock::now;

constexpr std::uint64_t NanosecondsPerSecond = 1'000'000'000;

WRAP(int, clock_gettime, clockid_t clock, timespec* time) {
  if (clock != CLOCK_MONOTONIC) return __real_clock_gettime(clock, time);
  const std::uint64_t nanoseconds = now;
  *time = {static_cast<time_t>(nanoseconds / NanosecondsPerSecond),
           static_cast<long>(nanoseconds % NanosecondsPerSecond)};
  return 0;
}

WRAP(int, pthread_cond_timedwait, pthread_cond_t* /*condition*/, pthread_mutex_t* /*mutex*/,
     const timespec* deadline) {
  const std::uint64_t end = static_cast<std::uint64_t>(deadline->tv_sec) * NanosecondsPerSecond +
                            static_cast<std::uint64_t>(deadline->tv_nsec);
  std::uint64_t before = now;
  while (before < end && !now.compare_exchange_weak(before, end)) {
  }
  return ETIMEDOUT;
}
