#include <gmock/gmock.h>
#include <unistd.h>

#include <cerrno>

#include "platform/PosixThread.h"
#include "platform/ThreadFactory.h"
#include "support/Wrap.h"

// What the last creation of a thread asked for.
static int policy, priority, inherits;
static std::size_t stack;
static int createError;  // what the next creation fails with, where it is not 0

WRAP(int, pthread_create, pthread_t* id, const pthread_attr_t* attributes, void* (*body)(void*),
     void* argument) {
  sched_param parameters{};
  pthread_attr_getschedparam(attributes, &parameters);
  priority = parameters.sched_priority;
  pthread_attr_getschedpolicy(attributes, &policy);
  pthread_attr_getinheritsched(attributes, &inherits);
  pthread_attr_getstacksize(attributes, &stack);
  const int error = std::exchange(createError, 0);
  return error != 0 ? error : __real_pthread_create(id, nullptr, body, argument);
}

namespace {

class ThreadTest : public testing::Test {
 protected:
  static void* RunUntilStopped(void* test) {
    auto& self = *static_cast<ThreadTest*>(test);
    const unsigned int flags = self.stop->WaitOr(0xFFFFFFFF);
    usleep(20'000);  // the destructor waits for the end of the body
    self.stopFlags = flags;
    return nullptr;
  }

  std::atomic<unsigned int> stopFlags = 0;  // that the body was given
  std::unique_ptr<Thread> thread = ThreadFactory::GetUniqueThread(RunUntilStopped, 58, 0);
  std::shared_ptr<Event> stop = thread->GetThreadEvent();
};

TEST_F(ThreadTest, RunsOnceUntilAskedToStop) {
  EXPECT_EQ(thread->GetThreadEvent(), stop);
  EXPECT_FALSE(thread->IsRunning());
  for (const auto& [error, name, result] : std::initializer_list<std::tuple<int, const char*, int>>{
           {EAGAIN, "", EAGAIN}, {0, "sixteen letters.", ERANGE}, {0, "", 1}}) {
    createError = error;
    EXPECT_EQ(thread->StartThread(this, name), result);
    EXPECT_EQ(thread->IsRunning(), error == 0);
  }
  EXPECT_EQ(thread->GetStopRequestFlag(), 1U);
  thread->SetStopRequestFlag(0x6);
  EXPECT_EQ(thread->RequestStop(), 0);
  EXPECT_TRUE(thread->IsRunning());
  thread.reset();
  EXPECT_EQ(stopFlags, 0x6U);
}

TEST_F(ThreadTest, CancelsABodyThatHasNoStopRequest) {
  thread->StartThread(this, "");
  thread->SetStopRequestFlag(0);
  thread.reset();
  EXPECT_EQ(stopFlags, 0U);
  EXPECT_EQ(stop->Signal(0x2), 0);  // the cancelled wait left the event unlocked
}

TEST_F(ThreadTest, AsksForRoundRobinAtItsPriority) {
  const unsigned int count = Thread::threadCount;
  createError = EPERM;
  thread->StartThread(nullptr, "");
  EXPECT_THAT((std::array{policy, priority, inherits}),
              testing::ElementsAre(SCHED_RR, 58, PTHREAD_INHERIT_SCHED));  // the platform's default

  struct OpenThread : PosixThread {
    using PosixThread::PosixThread;
    using Thread::priority;
  } sized(RunUntilStopped, 1, 256 * 1024);
  EXPECT_TRUE(sized.SetPriority(7));
  EXPECT_FALSE(sized.SetPriority(1000));
  createError = EPERM;
  sized.StartThread(nullptr, "");
  EXPECT_EQ(priority, 7);
  EXPECT_EQ(sized.priority, 7);
  EXPECT_EQ(stack, 256U * 1024);
  thread.reset();
  EXPECT_EQ(Thread::threadCount, count);  // one gone, one made
}

}  // namespace
