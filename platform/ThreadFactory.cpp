#include "platform/ThreadFactory.h"

#include "platform/PosixThread.h"

std::unique_ptr<Thread> ThreadFactory::GetUniqueThread(Thread::EntryFunction body, int priority,
                                                       unsigned long stackBytes) {
  return std::make_unique<PosixThread>(body, priority, stackBytes);
}
