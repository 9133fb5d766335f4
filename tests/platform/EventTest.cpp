#include <gtest/gtest.h>

#include <cerrno>
#include <future>
#include <thread>

#include "platform/EventFactory.h"
#include "platform/PosixEvent.h"
#include "support/Wrap.h"

static thread_local int sleepError;  // what a timed sleep of this thread fails with, where it is not 0

WRAP(int, pthread_cond_timedwait, pthread_cond_t* condition, pthread_mutex_t* mutex,
     const timespec* deadline) {
  return sleepError != 0 ? sleepError : __real_pthread_cond_timedwait(condition, mutex, deadline);
}

namespace {

using Word = unsigned int;

constexpr Word High = 0x80000000;
constexpr auto Never = [](Word) { return false; };
constexpr auto HasHigh = [](Word word) { return (word & High) != 0; };
constexpr auto IsZero = [](Word word) { return word == 0; };

constexpr Word All = 0xFFFFFFFF;
constexpr Word Other = 0x40;  // a flag that no wait asks for

struct WaitCase {
  const char* name;
  Word word;  // before the wait
  std::function<Word(Event&)> wait;
  int sleepError = 0;
  Word result;
  Word leftByAutoReset = 0;
};

const WaitCase WaitCases[] = {
    {.name = "OneOfTheFlags",
     .word = 0x5,
     .wait = [](Event& e) { return e.WaitOr(0x4, 100); },
     .result = 0x5,
     .leftByAutoReset = 0x1},
    {.name = "OneOfTheFlagsClearsAllThatWereAsked",
     .word = 0x4,
     .wait = [](Event& e) { return e.WaitOr(0x6, 0); },
     .result = 0x4},
    {.name = "NoneOfTheFlags",
     .word = 0x2,
     .wait = [](Event& e) { return e.WaitOr(0x1, 1); },
     .result = 0,
     .leftByAutoReset = 0x2},
    {.name = "OneOfNoFlags",
     .word = 0x2,
     .wait = [](Event& e) { return e.WaitOr(0, 0); },
     .result = 0,
     .leftByAutoReset = 0x2},
    {.name = "AllFlags",
     .word = 0x7,
     .wait = [](Event& e) { return e.WaitAnd(0x3); },
     .result = true,
     .leftByAutoReset = 0x4},
    {.name = "NotAllFlags",
     .word = 0x5,
     .wait = [](Event& e) { return e.WaitAnd(0x3, 0); },
     .result = false,
     .leftByAutoReset = 0x5},
    {.name = "AllOfNoFlags",
     .word = 0x5,
     .wait = [](Event& e) { return e.WaitAnd(0, 0); },
     .result = true,
     .leftByAutoReset = 0x5},
    {.name = "Predicate",
     .word = High | 5,
     .wait = [](Event& e) { return e.Wait(HasHigh); },
     .result = High | 5},
    {.name = "PredicateInTime",
     .word = High | 5,
     .wait = [](Event& e) { return e.Wait(HasHigh, 100); },
     .result = true},
    {.name = "PredicateNotMet",
     .word = 0x5,
     .wait = [](Event& e) { return e.Wait(Never, 0); },
     .result = false,
     .leftByAutoReset = 0x5},
    {.name = "PredicateMetByZero",
     .word = 0,
     .wait = [](Event& e) { return e.Wait(IsZero, 0); },
     .result = true},
    {.name = "WithoutALimitTellsWhetherTheWordIsNotZero",
     .word = 0,
     .wait = [](Event& e) { return e.Wait(IsZero, Event::NoTimeout); },
     .result = false},
    {.name = "BrokenSleepForOneOfTheFlags",
     .word = 0x5,
     .wait = [](Event& e) { return e.WaitOr(0x8, 1); },
     .sleepError = EINVAL,
     .result = 0,
     .leftByAutoReset = 0x5},
    {.name = "BrokenSleepForAllFlags",
     .word = 0x5,
     .wait = [](Event& e) { return e.WaitAnd(0x3, 1); },
     .sleepError = EINVAL,
     .result = false,
     .leftByAutoReset = 0x4},
    {.name = "BrokenSleepForAPredicate",
     .word = 0x5,
     .wait = [](Event& e) { return e.Wait(Never, 1); },
     .sleepError = EINVAL,
     .result = false},
};

void CheckWait(const WaitCase& row, Event& event, Word left) {
  EXPECT_EQ(event.Signal(row.word), 0);
  EXPECT_EQ(event.Signal(Other), 0);
  EXPECT_EQ(event.ResetFlags(Other), 0);
  EXPECT_EQ(event.IsSignalled(0x6), (row.word & 0x6) != 0);
  sleepError = row.sleepError;
  EXPECT_EQ(row.wait(event), row.result);
  sleepError = 0;
  EXPECT_EQ(event.WaitOr(All, 0), left);
}

TEST(Event, ConsumesWhatASuccessfulOrBrokenWaitAskedFor) {
  for (const WaitCase& row : WaitCases) {
    SCOPED_TRACE(row.name);
    CheckWait(row, *EventFactory::GetUniqueEvent(true), row.leftByAutoReset);
    CheckWait(row, *EventFactory::GetSharedEvent(true), row.leftByAutoReset);
    CheckWait(row, *EventFactory::GetUniqueEvent(false), row.word);
    CheckWait(row, *EventFactory::GetSharedEvent(false), row.word);
  }
}

// Answers its time-out.
struct RecordingEvent final : PosixEvent {
  using PosixEvent::PosixEvent;
  using PosixEvent::WaitOr;
  Word WaitOr(Word /*flags*/, unsigned int timeout) override { return timeout; }
};

struct Cut {
  std::int64_t microseconds;
  unsigned int milliseconds;
};

constexpr Cut Cuts[] = {
    {.microseconds = 2500, .milliseconds = 2},
    {.microseconds = 999, .milliseconds = 0},
    {.microseconds = -2500, .milliseconds = 0},
    {.microseconds = -5'000'000'000, .milliseconds = 0},
    {.microseconds = INT64_MAX, .milliseconds = Event::NoTimeout},
};

TEST(Event, CutsMicrosecondsToMilliseconds) {
  RecordingEvent event(true);
  EXPECT_EQ(Event::numberOfEvents, 1U);
  for (const auto& [microseconds, milliseconds] : Cuts) {
    const std::chrono::duration<std::int64_t, std::micro> timeout(microseconds);
    EXPECT_EQ(event.WaitOr(0x9, timeout), milliseconds);
  }
}

TEST(Event, SetsTheDeadlineOneMillisecondLate) {
  using std::chrono::steady_clock;
  for (unsigned int timeout = 0; timeout < 2500; ++timeout) {  // carries into the seconds at any time of day
    const auto before = steady_clock::now().time_since_epoch();
    const timespec deadline = PosixEvent::CalculateWakeUpTime(timeout);
    const auto after = steady_clock::now().time_since_epoch();
    const unsigned int wait = timeout == 0 ? 0 : timeout + 1;
    const auto end = std::chrono::seconds(deadline.tv_sec) + std::chrono::nanoseconds(deadline.tv_nsec);
    const auto begin = end - std::chrono::milliseconds(wait);
    EXPECT_GE(begin, before) << timeout;
    EXPECT_LE(begin, after) << timeout;
    EXPECT_LT(deadline.tv_nsec, 1'000'000'000);
  }
}

TEST(Event, WakesEveryWaiterAtEverySignal) {
  PosixEvent event(false);
  std::atomic<Word> tests = 0;
  const auto wait = [&] {
    sleepError = EINVAL;  // without a time-out the sleep has no deadline either
    const auto countAndTest = [&tests](Word word) {
      ++tests;
      return word == 0x3;
    };
    return event.Wait(countAndTest, Event::NoTimeout);
  };
  auto first = std::async(std::launch::async, wait);
  auto second = std::async(std::launch::async, wait);
  for (const Word flags : {0U, 1U, 2U}) {
    while (tests < 2 * (flags + 1)) std::this_thread::yield();
    EXPECT_EQ(event.Signal(flags), 0);
  }
  EXPECT_TRUE(first.get() && second.get());
}

}  // namespace
