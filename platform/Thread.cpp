#include "platform/Thread.h"

#include "platform/EventFactory.h"

std::atomic<unsigned int> Thread::threadCount{0};

Thread::Thread(EntryFunction body, int wantedPriority, unsigned long stackBytes)
    : entryFunction(body),
      priority(wantedPriority),
      stackSize(stackBytes),
      running(false),
      threadEvent(EventFactory::GetSharedEvent(true)),
      stopRequestFlag(1),
      argument(nullptr) {
  ++threadCount;
}

Thread::~Thread() {
  --threadCount;
}

unsigned int Thread::GetStopRequestFlag() const {
  return stopRequestFlag;
}

std::shared_ptr<Event> Thread::GetThreadEvent() const {
  return threadEvent;
}

void Thread::SetStopRequestFlag(unsigned int flags) {
  stopRequestFlag = flags;
}

bool Thread::IsRunning() const {
  return running;
}

int Thread::RequestStop() {
  return threadEvent->Signal(stopRequestFlag);
}
