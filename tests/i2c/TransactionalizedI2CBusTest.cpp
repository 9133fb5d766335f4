#include "i2c/TransactionalizedI2CBus.h"

#include <gmock/gmock.h>
#include <pthread.h>

#include <cerrno>
#include <thread>
#include <tuple>

#include "platform/PosixEvent.h"
#include "support/Wrap.h"

namespace {

using I2C::AddressMode;
using I2C::Transaction;
using testing::ElementsAre;
using Addresses = std::vector<unsigned short>;

thread_local bool failsNextMutexInit = false;
int createError = 0;
std::atomic<int> broadcastsToStart = 0;  // holds a new thread until events have been signalled so often

using HeldStart = std::pair<void* (*)(void*), void*>;

void* StartLate(void* argument) {
  const std::unique_ptr<HeldStart> held(static_cast<HeldStart*>(argument));
  while (broadcastsToStart > 0) std::this_thread::yield();
  return held->first(held->second);
}

}  // namespace

WRAP(int, pthread_create, pthread_t* id, pthread_attr_t const* attributes, void* (*body)(void*),
     void* argument) {
  if (createError != 0) return std::exchange(createError, 0);
  return __real_pthread_create(id, attributes, StartLate, new HeldStart(body, argument));
}

WRAP(int, pthread_mutex_init, pthread_mutex_t* mutex, pthread_mutexattr_t const* attributes) {
  return std::exchange(failsNextMutexInit, false) ? EAGAIN : __real_pthread_mutex_init(mutex, attributes);
}

WRAP(int, pthread_cond_broadcast, pthread_cond_t* condition) {
  __real_pthread_cond_broadcast(condition);
  return --broadcastsToStart, 0;
}

namespace {

// Performs an attempt as the test says. Keeps the slave addresses in the order of acceptance.
class ScriptedBus : public TransactionalizedI2CBus {
 public:
  explicit ScriptedBus(std::function<void(Transaction&)> performAttempt)
      : attempt(std::move(performAttempt)) {}

  void SetBusSpeed(unsigned int) override {}
  unsigned int GetBusSpeed() const override { return 0; }
  bool Transact(Transaction* record) override {
    const std::lock_guard lock(mutex);
    if (!TransactionalizedI2CBus::Transact(record)) return false;
    accepted.push_back(record->address);
    return true;
  }
  using TransactionalizedI2CBus::PopTransaction;

  Addresses accepted;

 protected:
  void HandleTransaction(Transaction* record) override { attempt(*record); }

 private:
  std::function<void(Transaction&)> attempt;
  std::mutex mutex;
};

constexpr auto Seven = AddressMode::SevenBit;
unsigned char in[1];
unsigned char const out[1] = {};

TEST(TransactionQueue, FillsARecordForEachKindAndReturnsTheAskedCount) {
  std::vector<std::vector<long>> seen;
  char worker[16] = "";
  ScriptedBus bus([&](Transaction& r) {
    seen.push_back({static_cast<long>(r.type), r.address, static_cast<long>(r.addressMode), r.readLength,
                    r.readBuffer == in, r.writeLength, r.writeBuffer == out, r.delayMs, r.eventFlags,
                    r.success});
    pthread_getname_np(pthread_self(), worker, sizeof worker);
    r.success = true;
  });
  EXPECT_EQ(bus.Read(in, 3, 0x11, Seven), 3);
  EXPECT_EQ(bus.Write(out, 4, 0x3FF, AddressMode::TenBit), 4);
  EXPECT_EQ(bus.WriteThenRead(out, 5, in, 6, 0x12, Seven), 6);
  EXPECT_EQ(bus.WriteDelayRead(out, 7, in, 8, 0x13, Seven, 9), 8);
  EXPECT_THAT(seen, ElementsAre(ElementsAre(0, 0x11, 0, 3, true, 0, false, 0, 1, false),
                                ElementsAre(1, 0x3FF, 1, 0, false, 4, true, 0, 1, false),
                                ElementsAre(2, 0x12, 0, 6, true, 5, true, 0, 1, false),
                                ElementsAre(3, 0x13, 0, 8, true, 7, true, 9, 1, false)));
  EXPECT_STREQ(worker, "I2CXactHandler");
  EXPECT_FALSE(bus.Lock());
  EXPECT_FALSE(bus.Unlock());
}

TEST(TransactionQueue, MakesUpToThreeAttempts) {
  const std::tuple<int, int, int> cases[] = {{0, 1, 4}, {1, 2, 4}, {2, 3, 4}, {3, 3, 0}, {99, 3, 0}};
  for (auto const& [failures, attempts, result] : cases) {
    int calls = 0;
    ScriptedBus bus([&calls, limit = failures](Transaction& record) { record.success = ++calls > limit; });
    EXPECT_EQ(bus.Write(out, 4, 0x56, Seven), result);
    EXPECT_EQ(calls, attempts);
  }
}

TEST(TransactionQueue, ForgetsAnEarlierSuccessAndSignalsTheAskedFlags) {
  int calls = 0;
  ScriptedBus bus([&calls](Transaction&) { ++calls; });  // leaves `success` alone
  PosixEvent done(true);
  Transaction unwatched;
  Transaction record{.event = &done, .eventFlags = 0x8, .success = true};
  EXPECT_TRUE(bus.Transact(&unwatched));
  EXPECT_TRUE(bus.Transact(&record));
  EXPECT_EQ(done.WaitOr(0xFFFFFFFF), 0x8U);
  EXPECT_FALSE(record.success);
  EXPECT_EQ(calls, 6);
}

TEST(TransactionQueue, HoldsTenAndRefusesOneMore) {
  PosixEvent taken(true);
  PosixEvent proceed(true);
  PosixEvent done(false);
  Addresses handled;
  ScriptedBus bus([&](Transaction& record) {
    taken.Signal(1);
    proceed.WaitOr(1);
    handled.push_back(record.address);
    record.success = true;
  });
  std::vector<Transaction> records;
  for (unsigned short i = 0; i < 25; ++i)
    records.push_back({.address = i, .event = &done, .eventFlags = 1U << i});
  EXPECT_FALSE(bus.Transact(nullptr));
  EXPECT_TRUE(bus.Transact(records.data()));
  taken.WaitOr(1);
  for (unsigned int i = 1; i <= 10; ++i) EXPECT_TRUE(bus.Transact(&records[i])) << i;
  for (unsigned int i = 11; i < 35; ++i) {  // round the ring, as long as there are records always full
    EXPECT_EQ(i < 25 ? bus.Read(in, 1, 0x56, Seven) : 0, 0) << i;
    proceed.Signal(1);
    taken.WaitOr(1);
    EXPECT_TRUE(i >= 25 || bus.Transact(&records[i])) << i;
  }
  proceed.Signal(1);
  EXPECT_TRUE(done.WaitAnd((1U << 25) - 1));
  EXPECT_EQ(handled.size(), 25U);
  EXPECT_EQ(handled, bus.accepted);
  EXPECT_EQ(bus.PopTransaction(), nullptr);
}

TEST(TransactionQueue, ServesManyThreadsInTheOrderOfAcceptance) {
  Addresses handled;
  ScriptedBus bus([&handled](Transaction& record) {
    handled.push_back(record.address);
    record.success = true;
  });
  std::vector<std::thread> callers;
  for (unsigned short caller = 1; caller <= 4; ++caller) {
    callers.emplace_back([&bus, caller] {
      for (int i = 0; i < 200; ++i) EXPECT_EQ(bus.Write(out, 1, caller, Seven), 1);
    });
  }
  for (auto& caller : callers) caller.join();
  EXPECT_EQ(handled.size(), 800U);
  EXPECT_EQ(handled, bus.accepted);
}

// Queueing and the request to stop signal once each, and the worker sees both when it begins.
TEST(TransactionQueue, LeavesUnservedWhatIsQueuedWhenItStops) {
  broadcastsToStart = 2;
  PosixEvent done(true);
  int calls = 0;
  Transaction record{.event = &done, .eventFlags = 1};
  {
    ScriptedBus bus([&calls](Transaction&) { ++calls; });
    EXPECT_TRUE(bus.Transact(&record));
  }
  EXPECT_EQ(calls, 0);
  EXPECT_FALSE(done.IsSignalled(1));
}

TEST(TransactionQueue, RefusesTransfersItCouldNotComplete) {
  const auto succeed = [](Transaction& record) { record.success = true; };
  const auto expectRefusal = [](ScriptedBus& bus) {
    Transaction record;
    EXPECT_FALSE(bus.Transact(&record));
    EXPECT_EQ(bus.Read(in, 1, 0x56, Seven), 0);
  };
  createError = EAGAIN;
  ScriptedBus withoutWorker(succeed);
  expectRefusal(withoutWorker);
  failsNextMutexInit = true;
  ScriptedBus withoutControlEvent(succeed);
  expectRefusal(withoutControlEvent);

  ScriptedBus bus(succeed);
  failsNextMutexInit = true;  // of the completion event
  EXPECT_EQ(bus.Read(in, 1, 0x56, Seven), 0);
  EXPECT_TRUE(bus.accepted.empty());
  EXPECT_EQ(bus.Read(in, 1, 0x56, Seven), 1);
}

}  // namespace
