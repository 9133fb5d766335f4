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

TEST(Event, ConsumesWhatASuccessfulOrBrokenWaitAskedFor) {
  struct {
    Word word;
    std::function<Word(Event&)> wait;
    Word result, leftByAutoReset;
    int error = 0;
  } const cases[] = {
      {0x5, [](Event& e) { return e.WaitOr(0x4, 100); }, 0x5, 0x1},
      {0x4, [](Event& e) { return e.WaitOr(0x6, 0); }, 0x4, 0},
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
  for (const auto& row : cases) {
    SCOPED_TRACE(&row - cases);
    for (const bool autoReset : {true, false}) {
      for (const std::shared_ptr<Event>& event :
           {EventFactory::GetSharedEvent(autoReset), {EventFactory::GetUniqueEvent(autoReset)}}) {
        EXPECT_EQ(event->Signal(row.word), 0);
        EXPECT_EQ(event->Signal(0x40), 0);
        EXPECT_EQ(event->ResetFlags(0x40), 0);
        EXPECT_EQ(event->IsSignalled(0x6), (row.word & 0x6) != 0);
        sleepError = row.error;
        EXPECT_EQ(row.wait(*event), row.result);
        sleepError = 0;
        EXPECT_EQ(event->WaitOr(0xFFFFFFFF, 0), autoReset ? row.leftByAutoReset : row.word);
      }
    }
  }
}

TEST(Event, CutsMicrosecondsToMilliseconds) {
  struct RecordingEvent : PosixEvent {
    using PosixEvent::PosixEvent;
    using PosixEvent::WaitOr;
    Word WaitOr(Word /*flags*/, unsigned int timeout) override { return timeout; }
  } event(true);
  EXPECT_EQ(Event::numberOfEvents, 1U);
  for (const auto& [microseconds, milliseconds] : std::initializer_list<std::pair<long, unsigned int>>{
           {2500, 2}, {999, 0}, {-2500, 0}, {-5000000000, 0}, {INT64_MAX, Event::NoTimeout}}) {
    EXPECT_EQ(event.WaitOr(0x9, std::chrono::microseconds(microseconds)), milliseconds);
  }
}

TEST(Event, SetsTheDeadlineOneMillisecondLate) {
  using std::chrono::steady_clock;
  for (unsigned int timeout = 0; timeout < 2500; ++timeout) {  // carries into the seconds at any time of day
    const auto before = steady_clock::now().time_since_epoch();
    const timespec deadline = PosixEvent::CalculateWakeUpTime(timeout);
    const auto wait = std::chrono::milliseconds(timeout == 0 ? 0 : timeout + 1);
    const auto begin =
        std::chrono::seconds(deadline.tv_sec) + std::chrono::nanoseconds(deadline.tv_nsec) - wait;
    EXPECT_TRUE(begin >= before && begin <= steady_clock::now().time_since_epoch()) << timeout;
    EXPECT_LT(deadline.tv_nsec, 1'000'000'000);
  }
}

TEST(Event, WakesEveryWaiterAtEverySignal) {
  PosixEvent event(false);
  std::atomic<Word> tests = 0;
  const auto wait = [&] {
    sleepError = EINVAL;  // without a time-out the sleep has no deadline either
    return event.Wait([&tests](Word word) { return ++tests, word == 0x3; }, Event::NoTimeout);
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
