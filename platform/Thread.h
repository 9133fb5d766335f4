// A worker thread: a body with one untyped argument, a scheduling request and an event through which the body
// can be asked to stop. A thread is made stopped, started once, and joined when its object is destroyed; the
// owner sees to it that the body ends by then. The argument stays the caller's.
//
// Any thread may call any operation but the destructor; SetPriority not while another thread sets the
// priority or starts the thread.
#pragma once

#include <atomic>
#include <memory>
#include <string>

#include "platform/Event.h"

class Thread {
 public:
  using EntryFunction = void* (*)(void*);

  // Number of live thread objects in the process.
  static std::atomic<unsigned int> threadCount;

  // `stackBytes` is the stack's size, 0 for the platform's default.
  Thread(EntryFunction body, int wantedPriority, unsigned long stackBytes);
  virtual ~Thread();
  Thread(Thread const&) = delete;
  Thread& operator=(Thread const&) = delete;

  // Runs the body with `bodyArgument` on a new thread, named `name` unless that is empty. Returns 0; 1 when
  // it was started before; or the errno number of a failed creation, after which it can be started again, or
  // of a failed naming, which the thread survives.
  virtual int StartThread(void* bodyArgument, std::string const& name) = 0;

  virtual unsigned int GetStopRequestFlag() const;

  // An automatic-reset event; a body that stops on request waits on it for the stop request flag.
  virtual std::shared_ptr<Event> GetThreadEvent() const;

  // Asks for a priority for a thread started afterwards. Returns whether the platform took it.
  virtual bool SetPriority(int wantedPriority) = 0;

  // The bits that a stop request signals, 1 at first. 0 means that the destructor cancels the thread instead.
  virtual void SetStopRequestFlag(unsigned int flags);

  // Whether the thread was started. Stays true after the body has returned.
  virtual bool IsRunning() const;

  // Signals the stop request flag on the thread's event. Returns 0 or an errno number.
  virtual int RequestStop();

 protected:
  EntryFunction entryFunction;
  int priority;
  unsigned long stackSize;
  std::atomic<bool> running;
  std::shared_ptr<Event> threadEvent;
  std::atomic<unsigned int> stopRequestFlag;
  void* argument;
};
