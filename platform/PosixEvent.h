// An Event on a POSIX mutex and a condition variable whose clock is CLOCK_MONOTONIC.
//
// A waiter may destroy the event as soon as its wait has returned, also while the Signal that ended the wait
// is still on its way out on another thread.
//
// When the mutex or the condition variable cannot be made, the constructor reports nothing; every wait then
// returns 0 or false at once, and Signal and ResetFlags return the errno number of that failure.
#pragma once

#include <pthread.h>

#include <ctime>

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

  // Lock and unlock the event's mutex; 0 or an errno number.
  int Lock();
  int Unlock();

  // The absolute CLOCK_MONOTONIC time at which a wait of `timeout` milliseconds that begins now gives up:
  // now for 0, else `timeout` + 1 ms ahead.
  static timespec CalculateWakeUpTime(unsigned int timeout);

  // What every wait does after its sleep failed with `error`, the event locked: an automatic-reset event
  // drops the asked `flags`, so that a broken wait does not leave a stale signal behind.
  void HandleCondVarWaitException(int error, unsigned int flags);

 private:
  template <typename Condition>
  unsigned int Sleep(Condition const& holds, unsigned int consumed, timespec const* deadline, bool& met);
  template <typename Condition>
  unsigned int Sleep(Condition const& holds, unsigned int consumed, unsigned int timeout, bool& met);

  pthread_mutex_t mutex;  // guards flagWord
  pthread_cond_t condition;
  int creationError;            // 0, or why there is no mutex and no condition variable
  std::atomic<int> signalling;  // threads between setting flags and having woken the waiters
};
