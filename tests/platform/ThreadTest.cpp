#include <gtest/gtest.h>

#include <cerrno>
#include <cstring>
#include <thread>

#include "platform/PosixEvent.h"
#include "platform/PosixThread.h"
#include "platform/SignalHold.h"
#include "platform/ThreadFactory.h"
#include "support/Wrap.h"

namespace {

// What the last creation of a thread asked for.
int policy, priority, inherits;
std::size_t stack;

int createError, joins, cancels;
std::atomic<bool> createsLate, mayCreate;

}  // namespace

WRAP(int, pthread_create, pthread_t* id, pthread_attr_t const* attributes, void* (*body)(void*),
     void* argument) {
  if (createsLate) {
    while (!mayCreate) std::this_thread::yield();
    std::this_thread::sleep_for(std::chrono::milliseconds(25));
    return __real_pthread_create(id, nullptr, body, argument);
  }
  sched_param parameters{};
  pthread_attr_getschedparam(attributes, &parameters);
  priority = parameters.sched_priority;
  pthread_attr_getschedpolicy(attributes, &policy);
  pthread_attr_getinheritsched(attributes, &inherits);
  pthread_attr_getstacksize(attributes, &stack);
  return createError != 0 ? createError : __real_pthread_create(id, attributes, body, argument);
}

WRAP(int, pthread_join, pthread_t id, void** result) {
  return ++joins, __real_pthread_join(id, result);
}

WRAP(int, pthread_cancel, pthread_t id) {
  return ++cancels, __real_pthread_cancel(id);
}

namespace {

PosixEvent ended(true);

struct EndMark {
  ~EndMark() { ended.Signal(1); }  // when the thread has left everything of ours
};

class ThreadTest : public testing::Test {
 protected:
  ThreadTest() { createError = joins = cancels = 0; }

  static void* RunUntilStopped(void* test) {
    thread_local EndMark mark;
    auto& self = *static_cast<ThreadTest*>(test);
    self.stopFlags = self.stop->WaitOr(0xFFFFFFFF);
    return nullptr;
  }

  std::unique_ptr<Thread> thread = ThreadFactory::GetUniqueThread(RunUntilStopped, 58, 0);
  std::shared_ptr<Event> stop = thread->GetThreadEvent();
  unsigned int stopFlags = 0;  // that the body was given
};

TEST_F(ThreadTest, RunsOnceUntilAskedToStop) {
  EXPECT_EQ(thread->GetThreadEvent(), stop);
  EXPECT_FALSE(thread->IsRunning());
  createError = EAGAIN;
  EXPECT_EQ(thread->StartThread(this, ""), EAGAIN);
  EXPECT_FALSE(thread->IsRunning());
  createError = 0;
  EXPECT_EQ(thread->StartThread(this, "sixteen letters."), ERANGE);
  EXPECT_TRUE(thread->IsRunning());
  EXPECT_EQ(thread->StartThread(nullptr, ""), 1);
  EXPECT_EQ(thread->GetStopRequestFlag(), 1U);
  thread->SetStopRequestFlag(0x6);
  EXPECT_EQ(thread->RequestStop(), 0);
  ended.WaitOr(1);
  EXPECT_EQ(stopFlags, 0x6U);
  EXPECT_TRUE(thread->IsRunning());  // also after its body returned
  thread.reset();
  EXPECT_EQ(joins, 1);
  EXPECT_EQ(cancels, 0);
}

TEST_F(ThreadTest, CancelsABodyThatHasNoStopRequest) {
  thread->StartThread(this, "");
  thread->SetStopRequestFlag(0);
  thread.reset();
  EXPECT_EQ(cancels, 1);
  EXPECT_EQ(joins, 1);
  EXPECT_EQ(stopFlags, 0U);
  EXPECT_EQ(stop->Signal(0x2), 0);  // the cancelled wait left the event unlocked
}

// The start is claimed, but the destructor finds no thread to join yet.
TEST_F(ThreadTest, JoinsAThreadWhoseStartIsUnderWay) {
  createsLate = true;
  std::thread starter([this, &starting = *thread] { starting.StartThread(this, ""); });
  while (!thread->IsRunning()) std::this_thread::yield();
  mayCreate = true;
  thread.reset();
  EXPECT_EQ(joins, 1);
  EXPECT_EQ(stopFlags, 1U);
  starter.join();
  createsLate = mayCreate = false;
}

TEST_F(ThreadTest, AsksForRoundRobinAtItsPriority) {
  const unsigned int count = Thread::threadCount;
  createError = EPERM;
  thread->StartThread(nullptr, "");
  EXPECT_EQ(policy, SCHED_RR);
  EXPECT_EQ(priority, 58);
  EXPECT_EQ(inherits, PTHREAD_INHERIT_SCHED);  // the platform's default

  struct OpenThread : PosixThread {
    using PosixThread::PosixThread;
    using Thread::priority;
  } sized(RunUntilStopped, 1, 256 * 1024);
  EXPECT_TRUE(sized.SetPriority(7));
  EXPECT_FALSE(sized.SetPriority(1000));
  sized.StartThread(nullptr, "");
  EXPECT_EQ(priority, 7);
  EXPECT_EQ(sized.priority, 7);
  EXPECT_EQ(stack, 256U * 1024);
  thread.reset();
  EXPECT_EQ(Thread::threadCount, count);  // one gone, one made
  EXPECT_EQ(joins + cancels, 0);          // for there is no thread
}

// Which of five signals this thread blocks.
std::string Blocked() {
  sigset_t mask;
  pthread_sigmask(SIG_SETMASK, nullptr, &mask);
  std::string names;
  for (const int signal : {SIGHUP, SIGINT, SIGQUIT, SIGTERM, SIGUSR1}) {
    if (sigismember(&mask, signal) == 1) names += sigabbrev_np(signal);
  }
  return names;
}

TEST(SignalHold, OpensInAWindowOnlyWhatItBlocked) {
  sigset_t outer;
  sigemptyset(&outer);
  sigaddset(&outer, SIGTERM);
  pthread_sigmask(SIG_SETMASK, &outer, nullptr);
  {
    const SignalHold hold;
    const SignalHold inner;
    EXPECT_EQ(Blocked(), "HUPINTQUITTERM");
    {
      const SignalWindow window;
      EXPECT_EQ(Blocked(), "TERM");
    }
    EXPECT_EQ(Blocked(), "HUPINTQUITTERM");
  }
  const SignalWindow withoutHold;
  EXPECT_EQ(Blocked(), "TERM");
}

}  // namespace
