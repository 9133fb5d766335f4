#include <gtest/gtest.h>

#include <cerrno>
#include <functional>

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

using Wait = std::function<Word(Event&)>;

Wait Or(Word flags, unsigned int timeout) {
  return [=](Event& event) { return event.WaitOr(flags, timeout); };
}

Wait And(Word flags, unsigned int timeout) {
  return [=](Event& event) { return event.WaitAnd(flags, timeout); };
}

Wait Until(bool (*predicate)(Word), unsigned int timeout) {
  return [=](Event& event) { return event.Wait(predicate, timeout); };
}

struct WaitCase {
  const char* name;
  Word word;  // before the wait
  Wait wait;
  Word result;
  Word left = 0;  // by an event with automatic reset
  int sleepError = 0;
};

const WaitCase WaitCases[] = {
    {.name = "OneOfTheFlags", .word = 5, .wait = Or(4, 100), .result = 5, .left = 1},
    {.name = "OneOfTheFlagsClearsAllThatWereAsked", .word = 4, .wait = Or(6, 0), .result = 4},
    {.name = "NoneOfTheFlags", .word = 2, .wait = Or(1, 1), .result = 0, .left = 2},
    {.name = "AllFlags", .word = 7, .wait = And(3, Event::NoTimeout), .result = true, .left = 4},
    {.name = "NotAllFlags", .word = 5, .wait = And(3, 0), .result = false, .left = 5},
    {.name = "PredicateInTime", .word = High | 5, .wait = Until(HasHigh, 100), .result = true},
    {.name = "PredicateNotMet", .word = 5, .wait = Until(Never, 0), .result = false, .left = 5},
    {.name = "PredicateMetByZero", .word = 0, .wait = Until(IsZero, 0), .result = true},
    {.name = "BrokenSleepForOne", .word = 5, .wait = Or(8, 1), .result = 0, .left = 5, .sleepError = EINVAL},
    {.name = "BrokenSleepForAll", .word = 5, .wait = And(3, 1), .result = 0, .left = 4, .sleepError = EINVAL},
    {.name = "BrokenSleep", .word = 5, .wait = Until(Never, 1), .result = false, .sleepError = EINVAL},
    {.name = "Predicate",
     .word = High | 5,
     .wait = [](Event& event) { return event.Wait(HasHigh); },
     .result = High | 5}};

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
    CheckWait(row, *EventFactory::GetUniqueEvent(true), row.left);
    CheckWait(row, *EventFactory::GetSharedEvent(true), row.left);
    CheckWait(row, *EventFactory::GetUniqueEvent(false), row.word);
    CheckWait(row, *EventFactory::GetSharedEvent(false), row.word);
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

}  // namespace
