// A word of 32 flag bits that threads signal and wait for.
//
// Time-outs are in milliseconds on the monotonic clock. NoTimeout waits without a limit, and 0 tests once
// without waiting. A wait with any other time-out lasts one millisecond longer, so that it never ends
// early; the deadline is fixed when the wait begins. Any thread may call any operation, and several may wait
// at once. A wait returns 0 or false on time-out, when its sleep fails, and at once when the event could not
// be made. It throws only what a predicate throws.
//
// On an automatic-reset event a wait that succeeds clears what it asked for: WaitOr and WaitAnd clear every
// asked flag, set or not, and Wait clears the whole word. A wait that times out clears nothing.
#pragma once

#include <atomic>
#include <chrono>
#include <cstdint>
#include <functional>

class Event {
 public:
  using Predicate = std::function<bool(unsigned int)>;

  static constexpr unsigned int NoTimeout = 0xFFFFFFFF;

  // Number of live events in the process.
  static std::atomic<unsigned int> numberOfEvents;

  explicit Event(bool resetsAutomatically);
  virtual ~Event();
  Event(const Event&) = delete;
  Event& operator=(const Event&) = delete;

  // Waits until one of `flags` is set. Returns the whole word at that moment, or 0.
  virtual unsigned int WaitOr(unsigned int flags) = 0;
  virtual unsigned int WaitOr(unsigned int flags, unsigned int timeout) = 0;
  // Does the same with the time-out rounded down to whole milliseconds. A negative time-out counts as 0, one
  // that takes more than 32 bits of milliseconds as NoTimeout.
  virtual unsigned int WaitOr(unsigned int flags, std::chrono::duration<std::int64_t, std::micro> timeout);

  // Waits until `predicate` holds for the word. Returns the word at that moment, or 0; the timed form returns
  // whether the predicate held. The predicate runs with the event locked. An empty one makes the wait throw
  // std::bad_function_call, which leaves the event unlocked.
  virtual unsigned int Wait(Predicate predicate) = 0;
  virtual bool Wait(Predicate predicate, unsigned int timeout) = 0;

  // Waits until all of `flags` are set.
  virtual bool WaitAnd(unsigned int flags) = 0;
  virtual bool WaitAnd(unsigned int flags, unsigned int timeout) = 0;

  // Sets, or clears, `flags`. Signal wakes every waiter. Returns 0, or an errno number when nothing changed.
  virtual int Signal(unsigned int flags) = 0;
  virtual int ResetFlags(unsigned int flags) = 0;

  // Returns whether one of `flags` is set, without taking the lock.
  [[nodiscard]] virtual bool IsSignalled(unsigned int flags) const;

 protected:
  std::atomic<unsigned int> flagWord;  // written only under the implementation's lock
  const bool autoReset;
};
