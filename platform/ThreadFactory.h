// Makes threads, which the caller owns. They are not started.
#pragma once

#include <memory>

#include "platform/Thread.h"

class ThreadFactory final {
 public:
  ThreadFactory() = delete;

  // `stackBytes` is the stack's size, 0 for the platform's default.
  [[nodiscard]] static std::unique_ptr<Thread> GetUniqueThread(Thread::EntryFunction body, int priority,
                                                               unsigned long stackBytes);
};
