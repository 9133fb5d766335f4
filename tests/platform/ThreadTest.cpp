#include <gtest/gtest.h>

#include <cerrno>
#include <thread>

#include "platform/PosixEvent.h"
#include "platform/PosixThread.h"
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

std::string CurrentName() {
  char name[16] = "";
  pthread_getname_np(pthread_self(), name, sizeof name);
  return name;
}

// What a body is given and leaves behind.
struct Job {
  explicit Job(Thread const& thread) : stop(thread.GetThreadEvent()) {}
  std::shared_ptr<Event> stop;
  unsigned int stopFlags = 0;
  std::string name;
};

void* RunUntilStopped(void* argument) {
  auto& job = *static_cast<Job*>(argument);
  job.stopFlags = job.stop->WaitOr(0xFFFFFFFF);
  job.name = CurrentName();
  return nullptr;
}

class ThreadTest : public testing::Test {
 protected:
  ThreadTest() : thread(ThreadFactory::GetUniqueThread(RunUntilStopped, 58, 0)), job(*thread) {
    createError = joins = cancels = 0;
  }

  std::unique_ptr<Thread> thread;
  Job job;
};

TEST_F(ThreadTest, RunsOnceUntilAskedToStop) {
  EXPECT_EQ(thread->GetThreadEvent(), job.stop);
  EXPECT_EQ(thread->GetStopRequestFlag(), 1U);
  EXPECT_FALSE(thread->IsRunning());
  EXPECT_EQ(thread->StartThread(&job, "I2CXactHandler"), 0);
  EXPECT_TRUE(thread->IsRunning());
  EXPECT_EQ(thread->StartThread(nullptr, ""), 1);
  thread->SetStopRequestFlag(0x6);
  thread.reset();
  EXPECT_EQ(job.stopFlags, 0x6U);
  EXPECT_EQ(job.name, "I2CXactHandler");
  EXPECT_EQ(joins, 1);
  EXPECT_EQ(cancels, 0);
}

TEST_F(ThreadTest, CountsAsRunningAfterItsBodyReturned) {
  static PosixEvent ended(true);
  struct EndMark {
    ~EndMark() { ended.Signal(1); }  // when the thread has left everything of ours
  };
  thread = ThreadFactory::GetUniqueThread(
      [](void*) -> void* {
        thread_local EndMark mark;
        return &mark;
      },
      58, 0);
  EXPECT_EQ(thread->StartThread(nullptr, ""), 0);
  ended.WaitOr(1);
  EXPECT_TRUE(thread->IsRunning());
  thread.reset();
  EXPECT_EQ(joins, 1);
}

TEST_F(ThreadTest, SurvivesAFailedCreationAndARefusedName) {
  createError = EAGAIN;
  EXPECT_EQ(thread->StartThread(&job, ""), EAGAIN);
  EXPECT_FALSE(thread->IsRunning());
  createError = 0;
  EXPECT_EQ(thread->StartThread(&job, "sixteen letters."), ERANGE);
  EXPECT_TRUE(thread->IsRunning());
  EXPECT_EQ(thread->RequestStop(), 0);
  thread.reset();
  EXPECT_EQ(job.stopFlags, 1U);
  EXPECT_EQ(job.name, CurrentName());  // still its creator's
}

TEST_F(ThreadTest, CancelsABodyThatHasNoStopRequest) {
  thread->StartThread(&job, "");
  thread->SetStopRequestFlag(0);
  thread.reset();
  EXPECT_EQ(cancels, 1);
  EXPECT_EQ(joins, 1);
  EXPECT_EQ(job.stopFlags, 0U);
  EXPECT_EQ(job.stop->Signal(0x2), 0);  // the cancelled wait left the event unlocked
}

// The start is claimed, but the destructor finds no thread to join yet.
TEST_F(ThreadTest, JoinsAThreadWhoseStartIsUnderWay) {
  createsLate = true;
  std::thread starter([this, &starting = *thread] { starting.StartThread(&job, ""); });
  while (!thread->IsRunning()) std::this_thread::yield();
  mayCreate = true;
  thread.reset();
  EXPECT_EQ(joins, 1);
  EXPECT_EQ(job.stopFlags, 1U);
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

}  // namespace
