#include <gtest/gtest.h>
#include <pthread.h>

#include <chrono>

#include "platform/DirectoryLock.h"
#include "platform/SignalHold.h"
#include "support/TempDirectory.h"

namespace {

volatile std::sig_atomic_t arrived;

// Sends the signals that ask a process to end. How many act at once; the others stay pending.
int Raise() {
  const int before = arrived;
  for (const int number : {SIGINT, SIGQUIT, SIGTERM, SIGHUP}) {
    std::signal(number, [](int) { arrived = arrived + 1; });
    std::raise(number);
  }
  return arrived - before;
}

TEST(SignalHold, PutsSignalsOffButInAWindow) {
  for (const int outside : {SIGHUP, SIGINT}) {  // blocked from outside, so it stays blocked throughout
    const int begin = arrived;
    sigset_t blocked;
    sigemptyset(&blocked);
    sigaddset(&blocked, outside);
    pthread_sigmask(SIG_BLOCK, &blocked, nullptr);
    {
      const SignalHold hold;
      EXPECT_EQ(Raise(), 0);
      {
        const SignalWindow window;
        EXPECT_EQ(arrived - begin, 3);
        {
          const SignalHold inner;
          EXPECT_EQ(Raise(), 0);
          const SignalWindow innerWindow;
          EXPECT_EQ(arrived - begin, 6);
        }
        EXPECT_EQ(Raise(), 3);
      }
      EXPECT_EQ(Raise(), 0);
    }
    EXPECT_EQ(arrived - begin, 12);
    {
      const SignalWindow nothingHeld;
      EXPECT_EQ(Raise(), 3);
    }
    pthread_sigmask(SIG_UNBLOCK, &blocked, nullptr);
    EXPECT_EQ(arrived - begin, 16);
  }
}

TEST(DirectoryLock, IsHeldByOneAtATime) {
  const TempDirectory directory;
  {
    DirectoryLock first;
    EXPECT_TRUE(first.Acquire(directory / "", 0));
    DirectoryLock second;
    const auto begin = std::chrono::steady_clock::now();
    EXPECT_FALSE(second.Acquire(directory / "", 15));  // waits real time: that it waits at all is the point
    EXPECT_GE(std::chrono::steady_clock::now() - begin, std::chrono::milliseconds(15));
  }
  EXPECT_TRUE(DirectoryLock().Acquire(directory / "", 0));
  EXPECT_TRUE(DirectoryLock().Acquire(directory / "missing", 0));
  EXPECT_FALSE(DirectoryLock().Acquire(directory.File("file", ""), 0));
}

}  // namespace
