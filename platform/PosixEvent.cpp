#include "platform/PosixEvent.h"

#include <sched.h>

#include <cerrno>
#include <utility>

namespace {

constexpr unsigned int AllFlags = 0xFFFFFFFF;
constexpr long NanosecondsPerSecond = 1'000'000'000;
constexpr long NanosecondsPerMillisecond = 1'000'000;

int MakeMonotonicCondition(pthread_cond_t& condition) {
  pthread_condattr_t attributes;
  if (const int error = pthread_condattr_init(&attributes); error != 0) return error;
  int error = pthread_condattr_setclock(&attributes, CLOCK_MONOTONIC);
  if (error == 0) error = pthread_cond_init(&condition, &attributes);
  pthread_condattr_destroy(&attributes);
  return error;
}

// Unlocks on every way out of a wait: a predicate may throw, and a cancelled thread unwinds out of its sleep.
class Unlocker final {
 public:
  explicit Unlocker(PosixEvent& locked) : event(locked) {}
  ~Unlocker() { event.Unlock(); }
  Unlocker(const Unlocker&) = delete;
  Unlocker& operator=(const Unlocker&) = delete;

 private:
  PosixEvent& event;
};

}  // namespace

PosixEvent::PosixEvent(bool resetsAutomatically)
    : Event(resetsAutomatically), mutex(), condition(), creationError(0), signalling(0) {
  creationError = pthread_mutex_init(&mutex, nullptr);
  if (creationError != 0) return;
  creationError = MakeMonotonicCondition(condition);
  if (creationError != 0) pthread_mutex_destroy(&mutex);
}

PosixEvent::~PosixEvent() {
  if (creationError != 0) return;
  while (signalling != 0) sched_yield();
  pthread_cond_destroy(&condition);
  pthread_mutex_destroy(&mutex);
}

template <typename Condition>
std::optional<unsigned int> PosixEvent::Sleep(const Condition& holds, unsigned int consumed,
                                              unsigned int timeout) {
  const bool isTimed = timeout != NoTimeout;
  const timespec deadline = isTimed ? CalculateWakeUpTime(timeout) : timespec{};
  if (Lock() != 0) return std::nullopt;
  const Unlocker unlocker(*this);
  while (!holds(flagWord.load())) {
    const int error = isTimed ? pthread_cond_timedwait(&condition, &mutex, &deadline)
                              : pthread_cond_wait(&condition, &mutex);
    if (error == ETIMEDOUT) return std::nullopt;
    if (error != 0) {
      HandleCondVarWaitException(error, consumed);
      return std::nullopt;
    }
  }
  const unsigned int word = flagWord;
  if (autoReset) flagWord &= ~consumed;
  return word;
}

unsigned int PosixEvent::WaitOr(unsigned int flags) {
  return WaitOr(flags, NoTimeout);
}

unsigned int PosixEvent::WaitOr(unsigned int flags, unsigned int timeout) {
  return Sleep([flags](unsigned int word) { return (word & flags) != 0; }, flags, timeout).value_or(0);
}

unsigned int PosixEvent::Wait(Predicate predicate) {
  return Sleep(predicate, AllFlags, NoTimeout).value_or(0);
}

bool PosixEvent::Wait(Predicate predicate, unsigned int timeout) {
  if (timeout == NoTimeout) return Wait(std::move(predicate)) != 0;
  return Sleep(predicate, AllFlags, timeout).has_value();
}

bool PosixEvent::WaitAnd(unsigned int flags) {
  return WaitAnd(flags, NoTimeout);
}

bool PosixEvent::WaitAnd(unsigned int flags, unsigned int timeout) {
  return Sleep([flags](unsigned int word) { return (word & flags) == flags; }, flags, timeout).has_value();
}

int PosixEvent::Signal(unsigned int flags) {
  if (const int error = Lock(); error != 0) return error;
  ++signalling;
  flagWord |= flags;
  Unlock();
  pthread_cond_broadcast(&condition);
  --signalling;
  return 0;
}

int PosixEvent::ResetFlags(unsigned int flags) {
  if (const int error = Lock(); error != 0) return error;
  flagWord &= ~flags;
  Unlock();
  return 0;
}

int PosixEvent::Lock() {
  return creationError != 0 ? creationError : pthread_mutex_lock(&mutex);
}

int PosixEvent::Unlock() {
  return creationError != 0 ? creationError : pthread_mutex_unlock(&mutex);
}

timespec PosixEvent::CalculateWakeUpTime(unsigned int timeout) {
  timespec time{};
  clock_gettime(CLOCK_MONOTONIC, &time);
  if (timeout == 0) return time;
  const std::uint64_t ahead = std::uint64_t{timeout} + 1;
  time.tv_sec += static_cast<time_t>(ahead / 1000);
  time.tv_nsec += static_cast<long>(ahead % 1000) * NanosecondsPerMillisecond;
  if (time.tv_nsec >= NanosecondsPerSecond) {
    ++time.tv_sec;
    time.tv_nsec -= NanosecondsPerSecond;
  }
  return time;
}

void PosixEvent::HandleCondVarWaitException(int /*error*/, unsigned int flags) {
  if (autoReset) flagWord &= ~flags;
}
