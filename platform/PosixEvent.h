// An Event on a POSIX mutex and a condition variable whose clock is CLOCK_MONOTONIC.
//
// A waiter may destroy the event as soon as its wait has returned, even if the Signal that ended the wait has
// not yet returned on another thread.
//
// When the mutex or the condition variable cannot be made, the constructor reports nothing. Every wait then
// returns 0 or false at once, and Signal and ResetFlags return the errno number of that failure.
#pragma once

#include <pthread.h>

#include <ctime>
#include <optional>

#include "platform/Event.h"

class PosixEvent : public Event {
 public:
  explicit PosixEvent(bool resetsAutomatically);
  ~PosixEvent() override;

  using Event::WaitOr;
  unsigned int WaitOr(unsigned int flags) override;
  unsigned int WaitOr(unsigned int flags, unsigned int timeout) override;
  unsigned int Wait(Predicate predicate) override;
  bool Wait(Predicate predicate, unsigned int timeout) override;
  bool WaitAnd(unsigned int flags) override;
  bool WaitAnd(unsigned int flags, unsigned int timeout) override;
  int Signal(unsigned int flags) override;
  int ResetFlags(unsigned int flags) override;

  // Locks, or unlocks, the event's mutex. Returns 0 or an errno number.
  int Lock();
  int Unlock();

  // Returns the absolute CLOCK_MONOTONIC time at which a wait of `timeout` milliseconds that begins now gives
  // up: now for 0, otherwise `timeout` + 1 ms from now.
  [[nodiscard]] static timespec CalculateWakeUpTime(unsigned int timeout);

  // Clears the asked `flags` of an automatic-reset event, so that a broken wait leaves no stale signal. Every
  // wait calls it with the event locked when its sleep has failed with `error`.
  void HandleCondVarWaitException(int error, unsigned int flags);

 private:
  // Sleeps until the condition `holds` for the word. Returns the word at that moment, or nothing.
  template <typename Condition>
  std::optional<unsigned int> Sleep(const Condition& holds, unsigned int consumed, unsigned int timeout);

  pthread_mutex_t mutex;  // guards flagWord
  pthread_cond_t condition;
  int creationError;            // 0, or why there is no mutex and no condition variable
  std::atomic<int> signalling;  // threads that have set flags and are still waking the waiters
};
