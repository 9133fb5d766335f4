// A Thread on POSIX threads.
//
// It asks for round-robin scheduling (SCHED_RR) at its priority and leaves the inherit-scheduler attribute at
// the platform's default, so without the privilege it simply runs with its creator's scheduling. Names longer
// than the 15 characters that Linux keeps are refused by the naming.
#pragma once

#include <pthread.h>
#include <sched.h>

#include "platform/Thread.h"

class PosixThread : public Thread {
 public:
  PosixThread(EntryFunction body, int wantedPriority, unsigned long stackBytes);

  // Flushes standard output; asks a started thread to stop (or cancels it when the stop request flag is 0)
  // and joins it without a time limit.
  ~PosixThread() override;

  int StartThread(void* bodyArgument, std::string const& name) override;
  bool SetPriority(int wantedPriority) override;

 private:
  // Holds the key under which every thread finds its own PosixThread.
  class CurrentThreadHolder {
   public:
    CurrentThreadHolder();
    ~CurrentThreadHolder();
    CurrentThreadHolder(CurrentThreadHolder const&) = delete;
    CurrentThreadHolder& operator=(CurrentThreadHolder const&) = delete;

    void Set(PosixThread* thread) const;

   private:
    pthread_key_t key;
    bool created;
  };

  static CurrentThreadHolder currentThreadHolder;

  static void* CallableEntry(void* self);

  bool WaitForThreadId() const;
  void EndAndJoin();

  pthread_attr_t attributes;
  std::atomic<pthread_t> threadId;  // 0 until the thread has been created
  sched_param schedParam;
};
