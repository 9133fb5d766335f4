#include <gtest/gtest.h>

#include <cerrno>
#include <future>
#include <thread>

#include "platform/EventFactory.h"
#include "platform/PosixEvent.h"
#include "support/Wrap.h"

namespace {

// What the calls below return on this thread instead of doing their work, where it is not 0.
thread_local int mutexInitError, conditionInitError, timedWaitError;

std::atomic<int> broadcastsBegun, broadcastsDone;
std::atomic<bool> broadcastsAreSlow;

}  // namespace

WRAP(int, pthread_mutex_init, pthread_mutex_t* mutex, pthread_mutexattr_t const* attributes) {
  return mutexInitError != 0 ? mutexInitError : __real_pthread_mutex_init(mutex, attributes);
}

WRAP(int, pthread_cond_init, pthread_cond_t* condition, pthread_condattr_t const* attributes) {
  return conditionInitError != 0 ? conditionInitError : __real_pthread_cond_init(condition, attributes);
}

WRAP(int, pthread_cond_timedwait, pthread_cond_t* condition, pthread_mutex_t* mutex,
     timespec const* deadline) {
  return timedWaitError != 0 ? timedWaitError : __real_pthread_cond_timedwait(condition, mutex, deadline);
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

TEST(Event, ConsumesWhatASuccessfulWaitAskedFor) {
  struct {
    Word word;
    Wait wait;
    Word result, leftByAutoReset;
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
  };
  for (auto const& row : cases) {
    SCOPED_TRACE(&row - cases);
    const auto automatic = EventFactory::GetUniqueEvent(true);
    const auto manual = EventFactory::GetSharedEvent(false);
    for (Event* const event : {automatic.get(), manual.get()}) {
      EXPECT_EQ(event->Signal(row.word), 0);
      EXPECT_EQ(row.wait(*event), row.result);
      EXPECT_EQ(WordOf(*event), event == manual.get() ? row.word : row.leftByAutoReset);
    }
    EXPECT_EQ(manual->ResetFlags(0x4), 0);
    EXPECT_EQ(WordOf(*manual), row.word & ~0x4U);
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
  constexpr long Milli = 1'000'000;
  const auto nanoseconds = [](timespec const& time) { return time.tv_sec * 1000 * Milli + time.tv_nsec; };
  std::vector<unsigned int> timeouts = {0, 0xFFFFFFFE};
  for (unsigned int i = 1; i < 2500; ++i)
    timeouts.push_back(i);  // carries into the seconds at any time of day
  for (const unsigned int timeout : timeouts) {
    timespec before{};
    timespec after{};
    clock_gettime(CLOCK_MONOTONIC, &before);
    const timespec deadline = PosixEvent::CalculateWakeUpTime(timeout);
    clock_gettime(CLOCK_MONOTONIC, &after);
    const long begin = nanoseconds(deadline) - (timeout == 0 ? 0 : timeout + 1L) * Milli;
    EXPECT_TRUE(begin >= nanoseconds(before) && begin <= nanoseconds(after)) << timeout;
    EXPECT_LT(deadline.tv_nsec, 1000 * Milli);
  }
}

// Waits real time: whether a sleep keeps to its deadline shows on the clock only.
TEST(Event, PausesNoShorterThanItsTimeout) {
  for (const auto reset : {EventFactory::Reset::AutoReset, EventFactory::Reset::ManualReset}) {
    const unsigned int events = Event::numberOfEvents;
    auto pause = EventFactory::GetUniqueSimpleEvent(reset);
    EXPECT_EQ(Event::numberOfEvents, events + 1);
    const auto begin = std::chrono::steady_clock::now();
    EXPECT_FALSE(pause->Wait(5));
    EXPECT_GE(std::chrono::steady_clock::now() - begin, std::chrono::milliseconds(6));
    pause.reset();
    EXPECT_EQ(Event::numberOfEvents, events);
  }
}

TEST(Event, WakesEveryWaiterAtEverySignal) {
  PosixEvent event(false);
  std::atomic<int> tests[2] = {0, 0};
  const auto wait = [&event](std::atomic<int>& count) {
    timedWaitError = EINVAL;  // without a time-out the sleep has no deadline either
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

TEST(Event, RefusesEverythingWhenItCouldNotBeMade) {
  for (int* const error : {&mutexInitError, &conditionInitError}) {
    *error = EAGAIN;
    PosixEvent event(true);
    *error = 0;
    EXPECT_EQ(event.Signal(0x1), EAGAIN);
    EXPECT_EQ(event.ResetFlags(0x1), EAGAIN);
    EXPECT_EQ(event.WaitOr(0x1), 0U);
    EXPECT_EQ(event.Wait(Never), 0U);
    EXPECT_FALSE(event.WaitAnd(0));
    EXPECT_EQ(WordOf(event), 0U);
  }
}

TEST(Event, DropsTheAskedFlagsWhenItsSleepFails) {
  const std::pair<Wait, Word> cases[] = {{[](Event& e) { return e.WaitOr(0x8, 1); }, 0x5},
                                         {[](Event& e) { return e.WaitAnd(0x3, 1); }, 0x4},
                                         {[](Event& e) { return e.Wait(Never, 1); }, 0}};
  for (auto const& [wait, leftByAutoReset] : cases) {
    for (const bool autoReset : {true, false}) {
      PosixEvent event(autoReset);
      event.Signal(0x5);
      timedWaitError = EINVAL;
      EXPECT_EQ(wait(event), 0U);
      timedWaitError = 0;
      EXPECT_EQ(WordOf(event), autoReset ? leftByAutoReset : 0x5);
      EXPECT_EQ(event.Signal(0), 0);  // unlocked
    }
  }
}

TEST(Event, IsUnlockedWhenAPredicateThrows) {
  PosixEvent event(true);
  EXPECT_THROW(event.Wait(Event::Predicate()), std::bad_function_call);
  EXPECT_THROW(event.Wait(Event::Predicate(), 5), std::bad_function_call);
  EXPECT_EQ(event.Signal(0x1), 0);
}

TEST(Event, OutlivesTheSignalThatEndsItsLastWait) {
  auto event = EventFactory::GetUniqueEvent(true);
  const int before = broadcastsBegun;
  broadcastsAreSlow = true;
  std::thread signaller([&signalled = *event] { signalled.Signal(0x1); });
  while (broadcastsBegun == before) std::this_thread::yield();
  EXPECT_EQ(event->WaitOr(0x1), 0x1U);
  event.reset();
  EXPECT_EQ(broadcastsDone, before + 1);
  signaller.join();
  broadcastsAreSlow = false;
}

}  // namespace
