// A worker thread: a body with one untyped argument, a scheduling request and an event through which the body
// can be asked to stop. A thread is made stopped, started once, and joined when its object is destroyed; the
// owner ensures that the body ends by then. The caller keeps ownership of the argument.
//
// Any thread may call any operation except the destructor. SetPriority must not run while another thread sets
// the priority or starts the thread.
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
  Thread(const Thread&) = delete;
  Thread& operator=(const Thread&) = delete;

  // Runs the body with `bodyArgument` on a new thread, named `name` unless that is empty. Returns 0; 1 when
  // the thread was started before; the errno number of a failed creation, after which it can be started
  // again; or the errno number of a failed naming, after which the thread runs on. A body that ends at once
  // can make the naming fail.
  virtual int StartThread(void* bodyArgument, const std::string& name) = 0;

  [[nodiscard]] virtual unsigned int GetStopRequestFlag() const;

  // Returns an automatic-reset event. A body that stops on request waits on it for the stop request flag.
  [[nodiscard]] virtual std::shared_ptr<Event> GetThreadEvent() const;

  // Asks for a priority for a thread started afterwards. Returns whether the platform accepted it.
  virtual bool SetPriority(int wantedPriority) = 0;

  // The bits that a stop request signals, 1 at first. 0 means that the destructor cancels the thread instead.
  virtual void SetStopRequestFlag(unsigned int flags);

  // Returns whether the thread was started, which stays true after the body has returned.
  [[nodiscard]] virtual bool IsRunning() const;

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
