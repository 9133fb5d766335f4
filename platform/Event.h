// A word of 32 flag bits that threads signal and wait for.
//
// Time-outs are in milliseconds on the monotonic clock; NoTimeout means none, 0 a single test. A deadline
// lies one millisecond further ahead than its time-out says, so a wait never ends early, and is fixed when
// the wait begins. Any thread may call any operation, several may wait at once. Waits end with 0 or false on
// time-out, on a failed sleep, and at once on an event that could not be made; they throw only what a
// predicate throws.
//
// On an automatic-reset event a wait that succeeds clears what it asked for: WaitOr and WaitAnd every asked
// flag, set or not, Wait the whole word. A wait that times out clears nothing.
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
  Event(Event const&) = delete;
  Event& operator=(Event const&) = delete;

  // Waits until one of `flags` is set. Returns the whole word as it stood then, or 0.
  virtual unsigned int WaitOr(unsigned int flags) = 0;
  virtual unsigned int WaitOr(unsigned int flags, unsigned int timeout) = 0;
  // As above with the time-out cut to whole milliseconds. A negative one counts as 0, one too long for 32
  // bits of milliseconds as none.
  virtual unsigned int WaitOr(unsigned int flags, std::chrono::duration<std::int64_t, std::micro> timeout);

  // Waits until `predicate` holds for the word, and returns the word as it stood then, or 0; the timed form
  // returns whether it held. The predicate runs with the event locked. An empty one throws
  // std::bad_function_call and leaves the event unlocked.
  virtual unsigned int Wait(Predicate predicate) = 0;
  virtual bool Wait(Predicate predicate, unsigned int timeout) = 0;

  // Waits until all of `flags` are set.
  virtual bool WaitAnd(unsigned int flags) = 0;
  virtual bool WaitAnd(unsigned int flags, unsigned int timeout) = 0;

  // Sets, or clears, `flags`. Signal wakes every waiter. Both return 0 or an errno number; then nothing
  // changed.
  virtual int Signal(unsigned int flags) = 0;
  virtual int ResetFlags(unsigned int flags) = 0;

  // Whether one of `flags` is set, without taking the lock.
  virtual bool IsSignalled(unsigned int flags) const;

 protected:
  std::atomic<unsigned int> flagWord;  // written only under the implementation's lock
  bool const autoReset;
};
