#include <gtest/gtest.h>

#include <cerrno>
#include <future>
#include <thread>

#include "platform/EventFactory.h"
#include "platform/PosixEvent.h"
#include "support/Wrap.h"

namespace {

thread_local int sleepError;  // what a timed sleep of this thread fails with, where it is not 0

std::atomic<int> broadcastsBegun, broadcastsDone;
std::atomic<bool> broadcastsAreSlow;

}  // namespace

WRAP(int, pthread_cond_timedwait, pthread_cond_t* condition, pthread_mutex_t* mutex,
     timespec const* deadline) {
  return sleepError != 0 ? sleepError : __real_pthread_cond_timedwait(condition, mutex, deadline);
}

WRAP(int, pthread_cond_broadcast, pthread_cond_t* condition) {
  ++broadcastsBegun;
  if (broadcastsAreSlow) std::this_thread::sleep_for(std::chrono::milliseconds(20));
  __real_pthread_cond_broadcast(condition);
  return ++broadcastsDone, 0;
}

namespace {

using Word = unsigned int;
using Wait = std::function<Word(Event&)>;

Word WordOf(Event const& event) {
  Word word = 0;
  for (Word flag = 1; flag != 0; flag <<= 1) word |= event.IsSignalled(flag) ? flag : 0;
  return word;
}

constexpr Word High = 0x80000000;
constexpr auto Never = [](Word) { return false; };
constexpr auto HasHigh = [](Word word) { return (word & High) != 0; };
constexpr auto IsZero = [](Word word) { return word == 0; };

TEST(Event, ConsumesWhatASuccessfulOrBrokenWaitAskedFor) {
  struct {
    Word word;
    Wait wait;
    Word result, leftByAutoReset;
    int error = 0;
  } const cases[] = {
      {0x5, [](Event& e) { return e.WaitOr(0x4, 100); }, 0x5, 0x1},
      {0x4, [](Event& e) { return e.WaitOr(0x6, 100); }, 0x4, 0},
      {0x1, [](Event& e) { return e.WaitOr(0x1, 0); }, 0x1, 0},
      {High | 1, [](Event& e) { return e.WaitOr(High); }, High | 1, 1},
      {0x2, [](Event& e) { return e.WaitOr(0x1, 0); }, 0, 0x2},
      {0x2, [](Event& e) { return e.WaitOr(0x1, 1); }, 0, 0x2},
      {0x2, [](Event& e) { return e.WaitOr(0, 0); }, 0, 0x2},
      {0x7, [](Event& e) { return e.WaitAnd(0x3); }, true, 0x4},
      {0x5, [](Event& e) { return e.WaitAnd(0x3, 0); }, false, 0x5},
      {0x5, [](Event& e) { return e.WaitAnd(0, 0); }, true, 0x5},
      {High | 5, [](Event& e) { return e.Wait(HasHigh); }, High | 5, 0},
      {High | 5, [](Event& e) { return e.Wait(HasHigh, 100); }, true, 0},
      {0x5, [](Event& e) { return e.Wait(Never, 0); }, false, 0x5},
      {0, [](Event& e) { return e.Wait(IsZero, 0); }, true, 0},
      {0, [](Event& e) { return e.Wait(IsZero, Event::NoTimeout); }, false, 0},  // whether the word is not 0
      {0x5, [](Event& e) { return e.WaitOr(0x8, 1); }, 0, 0x5, EINVAL},
      {0x5, [](Event& e) { return e.WaitAnd(0x3, 1); }, false, 0x4, EINVAL},
      {0x5, [](Event& e) { return e.Wait(Never, 1); }, false, 0, EINVAL},
  };
  for (auto const& row : cases) {
    SCOPED_TRACE(&row - cases);
    for (const bool autoReset : {true, false}) {
      for (std::shared_ptr<Event> const& event :
           {EventFactory::GetSharedEvent(autoReset), {EventFactory::GetUniqueEvent(autoReset)}}) {
        EXPECT_EQ(event->Signal(row.word), 0);
        EXPECT_EQ(event->IsSignalled(0x6), (row.word & 0x6) != 0);
        sleepError = row.error;
        EXPECT_EQ(row.wait(*event), row.result);
        sleepError = 0;
        const Word left = autoReset ? row.leftByAutoReset : row.word;
        EXPECT_EQ(WordOf(*event), left);
        EXPECT_EQ(event->ResetFlags(0x4), 0);
        EXPECT_EQ(WordOf(*event), left & ~0x4U);
      }
    }
  }
}

TEST(Event, CutsMicrosecondsToMilliseconds) {
  struct RecordingEvent : PosixEvent {
    using PosixEvent::PosixEvent;
    using PosixEvent::WaitOr;
    Word WaitOr(Word flags, unsigned int timeout) override { return asked = timeout, flags; }
    unsigned int asked = 0;
  } event(true);
  const std::pair<long, unsigned int> cases[] = {{2500, 2},  {1000, 1},        {999, 0},
                                                 {-2500, 0}, {-5000000000, 0}, {INT64_MAX, Event::NoTimeout}};
  for (auto const& [microseconds, milliseconds] : cases) {
    EXPECT_EQ(event.WaitOr(0x9, std::chrono::microseconds(microseconds)), 0x9U);
    EXPECT_EQ(event.asked, milliseconds) << microseconds;
  }
}

TEST(Event, SetsTheDeadlineOneMillisecondLate) {
  const auto milliseconds = [](timespec const& time) {
    return time.tv_sec * 1000 + time.tv_nsec / 1'000'000;
  };
  timespec now{};
  for (unsigned int i = 0; i < 2500; ++i) {  // carries into the seconds at any time of day
    const unsigned int timeout = i == 2499 ? 0xFFFFFFFE : i;
    clock_gettime(CLOCK_MONOTONIC, &now);
    const timespec deadline = PosixEvent::CalculateWakeUpTime(timeout);
    const long before = milliseconds(now);
    clock_gettime(CLOCK_MONOTONIC, &now);
    const long begin = milliseconds(deadline) - (timeout == 0 ? 0 : timeout + 1L);
    EXPECT_TRUE(begin >= before && begin <= milliseconds(now)) << timeout;
    EXPECT_LT(deadline.tv_nsec, 1'000'000'000);
  }
}

TEST(Event, WakesEveryWaiterAtEverySignal) {
  PosixEvent event(false);
  std::atomic<int> tests[2] = {0, 0};
  const auto wait = [&event](std::atomic<int>& count) {
    sleepError = EINVAL;  // without a time-out the sleep has no deadline either
    return event.Wait([&count](Word word) { return ++count, word == 0x3; }, Event::NoTimeout);
  };
  auto first = std::async(std::launch::async, wait, std::ref(tests[0]));
  auto second = std::async(std::launch::async, wait, std::ref(tests[1]));
  for (const int round : {0, 1, 2}) {  // the flag of each round is its number
    while (tests[0] <= round || tests[1] <= round) std::this_thread::yield();
    EXPECT_EQ(event.Signal(static_cast<Word>(round)), 0);
  }
  EXPECT_TRUE(first.get() && second.get());
}

TEST(Event, IsUnlockedWhenAPredicateThrows) {
  PosixEvent event(true);
  EXPECT_THROW(event.Wait(Event::Predicate()), std::bad_function_call);
  EXPECT_THROW(event.Wait(Event::Predicate(), 5), std::bad_function_call);
  EXPECT_EQ(event.Signal(0x1), 0);
}

TEST(Event, OutlivesTheSignalThatEndsItsLastWait) {
  const unsigned int events = Event::numberOfEvents;
  auto event = EventFactory::GetUniqueEvent(true);
  EXPECT_EQ(Event::numberOfEvents, events + 1);
  const int before = broadcastsBegun;
  broadcastsAreSlow = true;
  std::thread signaller([&signalled = *event] { signalled.Signal(0x1); });
  while (broadcastsBegun == before) std::this_thread::yield();
  EXPECT_EQ(event->WaitOr(0x1), 0x1U);
  event.reset();
  EXPECT_EQ(broadcastsDone, before + 1);
  EXPECT_EQ(Event::numberOfEvents, events);
  signaller.join();
  broadcastsAreSlow = false;
}

}  // namespace
