// A Thread on POSIX threads.
//
// It asks for round-robin scheduling (SCHED_RR) at its priority. It leaves the inherit-scheduler attribute at
// the platform's default, which on Linux gives the thread its creator's scheduling instead. Linux refuses
// names of more than 15 characters (ERANGE), and cannot name a thread whose body has already ended (ENOENT).
#pragma once

#include <pthread.h>
#include <sched.h>

#include "platform/Thread.h"

class PosixThread : public Thread {
 public:
  PosixThread(EntryFunction body, int wantedPriority, unsigned long stackBytes);

  // Flushes standard output. Asks a started thread to stop, or cancels it when the stop request flag is 0,
  // and joins it without a time limit.
  ~PosixThread() override;

  int StartThread(void* bodyArgument, const std::string& name) override;
  bool SetPriority(int wantedPriority) override;

 private:
  // Holds the key under which each thread stores its own PosixThread. Nothing in the program reads it: it
  // lets a debugger find the object that a thread belongs to.
  class CurrentThreadHolder final {
   public:
    CurrentThreadHolder();
    ~CurrentThreadHolder();
    CurrentThreadHolder(const CurrentThreadHolder&) = delete;
    CurrentThreadHolder& operator=(const CurrentThreadHolder&) = delete;

    void Set(PosixThread* thread) const;

   private:
    pthread_key_t key;
    bool created;
  };

  static CurrentThreadHolder currentThreadHolder;

  static void* CallableEntry(void* self);

  [[nodiscard]] bool WaitForThreadId() const;
  void EndAndJoin();

  pthread_attr_t attributes;
  std::atomic<pthread_t> threadId;  // 0 until the thread has been created
  sched_param schedParam;
};
