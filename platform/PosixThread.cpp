#include "platform/PosixThread.h"

#include <iostream>

#include "platform/EventFactory.h"

namespace {

constexpr int ThreadIdPauses = 10;
constexpr unsigned int ThreadIdPause = 10;  // ms

}  // namespace

PosixThread::CurrentThreadHolder PosixThread::currentThreadHolder;

PosixThread::CurrentThreadHolder::CurrentThreadHolder() : key(), created(false) {
  created = pthread_key_create(&key, nullptr) == 0;
}

PosixThread::CurrentThreadHolder::~CurrentThreadHolder() {
  if (created) pthread_key_delete(key);
}

void PosixThread::CurrentThreadHolder::Set(PosixThread* thread) const {
  if (created) pthread_setspecific(key, thread);
}

PosixThread::PosixThread(EntryFunction body, int wantedPriority, unsigned long stackBytes)
    : Thread(body, wantedPriority, stackBytes), attributes(), threadId(0), schedParam() {
  if (pthread_attr_init(&attributes) != 0) return;
  if (stackBytes != 0) pthread_attr_setstacksize(&attributes, stackBytes);
  pthread_attr_setschedpolicy(&attributes, SCHED_RR);
  if (pthread_attr_getschedparam(&attributes, &schedParam) != 0) return;
  schedParam.sched_priority = wantedPriority;
  pthread_attr_setschedparam(&attributes, &schedParam);
}

PosixThread::~PosixThread() {
  std::cout.flush();
  pthread_attr_destroy(&attributes);
  if (running) EndAndJoin();
}

int PosixThread::StartThread(void* bodyArgument, const std::string& name) {
  bool claimed = false;
  if (!running.compare_exchange_strong(claimed, true)) return 1;
  argument = bodyArgument;
  pthread_t created = 0;
  if (const int error = pthread_create(&created, &attributes, CallableEntry, this); error != 0) {
    running = false;
    return error;
  }
  threadId = created;
  return name.empty() ? 0 : pthread_setname_np(created, name.c_str());
}

bool PosixThread::SetPriority(int wantedPriority) {
  schedParam.sched_priority = wantedPriority;
  if (pthread_attr_setschedparam(&attributes, &schedParam) != 0) return false;
  priority = wantedPriority;
  return true;
}

void* PosixThread::CallableEntry(void* self) {
  auto* const thread = static_cast<PosixThread*>(self);
  currentThreadHolder.Set(thread);
  thread->entryFunction(thread->argument);
  return nullptr;
}

// A start that another thread has claimed gets its id a moment later.
bool PosixThread::WaitForThreadId() const {
  const auto pause = EventFactory::GetUniqueSimpleEvent(true);
  for (int i = 0; threadId == 0 && i < ThreadIdPauses; ++i) pause->Wait(ThreadIdPause);
  return threadId != 0;
}

void PosixThread::EndAndJoin() {
  if (!WaitForThreadId()) return;
  if (GetStopRequestFlag() != 0) {
    RequestStop();
  } else {
    pthread_cancel(threadId);
  }
  pthread_join(threadId, nullptr);
}
