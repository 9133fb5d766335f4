// From a device handle through the queue and its worker down to the calls on the node.
#include <fcntl.h>
#include <gmock/gmock.h>
#include <unistd.h>

#include <cstdarg>
#include <cstring>
#include <deque>
#include <map>
#include <thread>

#include "i2c/DeviceLock.h"
#include "i2c/I2CBusHelper.h"
#include "i2c/LinuxI2CMasterBus.h"
#include "platform/PosixEvent.h"
#include "support/Wrap.h"

namespace {

using I2C::AddressMode;
using I2C::Transaction;
using I2C::TransactionType;
using std::chrono::milliseconds;
using std::chrono::steady_clock;
using Answers = std::map<char, std::deque<long>>;

constexpr char NodePath[] = "/dev/i2c-fake";
constexpr int NodeFd = 1'000'000;

// The node that the wrapped calls reach. It keeps each call as a letter and its number: open's flags (O),
// I2C_SLAVE (S), I2C_TENBIT (T), the lengths of read (R) and write (W), the descriptor given to close (C).
struct Node {
  std::string calls;
  Answers answers;  // in the place of what a good node answers; the last one for all that follow
  std::string written;
  steady_clock::time_point writeEnd;
  steady_clock::duration pause{};  // between the last write and the last read
  std::function<void()> atEachAttempt = [] {};

  long Answer(char call, long number, long good) {
    calls += call + std::to_string(number) + ' ';
    auto& scripted = answers[call];
    const long answer = scripted.empty() ? good : scripted.front();
    if (scripted.size() > 1) scripted.pop_front();
    return answer;
  }
} node;

thread_local int initToFail = 0;  // which of the next mutexes and conditions made on this thread fails
int createError = 0;
int workerPriority = 0;
std::atomic<int> workerSleeps = 0;
const auto testThread = std::this_thread::get_id();

bool InitFails() {
  return initToFail > 0 && --initToFail == 0;
}

}  // namespace

WRAP(int, open, char const* path, int flags, ...) {
  if (std::strcmp(path, NodePath) != 0) return __real_open(path, flags);
  return static_cast<int>(node.Answer('O', flags, NodeFd));
}

WRAP(int, ioctl, int fd, unsigned long request, ...) {
  va_list arguments;
  va_start(arguments, request);
  const long argument = va_arg(arguments, long);
  va_end(arguments);
  const char call = request == 0x0703 ? 'S' : request == 0x0704 ? 'T' : '?';
  if (call == 'S') node.atEachAttempt();
  return static_cast<int>(node.Answer(call, argument, fd == NodeFd ? 0 : -1));
}

WRAP(ssize_t, read, int fd, void* buffer, size_t length) {
  if (fd != NodeFd) return __real_read(fd, buffer, length);
  node.pause = steady_clock::now() - node.writeEnd;
  std::memset(buffer, 0xA5, length);
  return node.Answer('R', static_cast<long>(length), static_cast<long>(length));
}

WRAP(ssize_t, write, int fd, void const* buffer, size_t length) {
  if (fd != NodeFd) return __real_write(fd, buffer, length);
  node.written.assign(static_cast<char const*>(buffer), length);
  node.writeEnd = steady_clock::now();
  return node.Answer('W', static_cast<long>(length), static_cast<long>(length));
}

WRAP(int, close, int fd) {
  if (fd != NodeFd && fd != -1) return __real_close(fd);
  return static_cast<int>(node.Answer('C', fd, 0));
}

WRAP(int, pthread_create, pthread_t* id, pthread_attr_t const* attributes, void* (*body)(void*),
     void* argument) {
  if (createError != 0) return std::exchange(createError, 0);
  sched_param parameters{};
  pthread_attr_getschedparam(attributes, &parameters);
  workerPriority = parameters.sched_priority;
  return __real_pthread_create(id, attributes, body, argument);
}

WRAP(int, pthread_mutex_init, pthread_mutex_t* mutex, pthread_mutexattr_t const* attributes) {
  return InitFails() ? EAGAIN : __real_pthread_mutex_init(mutex, attributes);
}

WRAP(int, pthread_cond_init, pthread_cond_t* condition, pthread_condattr_t const* attributes) {
  return InitFails() ? EAGAIN : __real_pthread_cond_init(condition, attributes);
}

WRAP(int, pthread_cond_wait, pthread_cond_t* condition, pthread_mutex_t* mutex) {
  workerSleeps += std::this_thread::get_id() != testThread ? 1 : 0;
  return __real_pthread_cond_wait(condition, mutex);
}

namespace {

unsigned char in[16];
unsigned char const out[] = {1, 2, 3, 4};

class BusTest : public testing::Test {
 protected:
  BusTest() { MakeBus(); }

  void MakeBus(Answers const& answers = {}) {
    bus.reset();
    node = {};
    node.answers = answers;
    bus = std::make_shared<LinuxI2CMasterBus>(NodePath);
  }

  int ReadOne() { return bus->Read(in, 1, 0x56, AddressMode::SevenBit); }

  std::shared_ptr<LinuxI2CMasterBus> bus;
};

TEST_F(BusTest, MakesExactlyTheCallsOfItsAttempts) {
  constexpr auto Seven = AddressMode::SevenBit;
  constexpr auto Read = TransactionType::Read;
  constexpr auto Write = TransactionType::Write;
  constexpr auto Both = TransactionType::WriteThenRead;
  constexpr auto Delayed = TransactionType::WriteDelayRead;
  struct {
    TransactionType type;
    AddressMode mode;
    unsigned int readLength, writeLength, delay;
    Answers answers;
    bool success;
    char const* calls;
  } const cases[] = {
      {Read, Seven, 16, 0, 0, {}, true, "S86 T0 R16 "},
      {Write, Seven, 0, 4, 0, {}, true, "S86 T0 W4 "},
      {Both, Seven, 16, 2, 0, {}, true, "S86 T0 W2 R16 "},
      {Delayed, Seven, 16, 2, 10, {}, true, "S86 T0 W2 R16 "},  // in real time: the pause is the point
      {Read, AddressMode::TenBit, 16, 0, 0, {}, true, "S86 T1 R16 "},
      {Read, Seven, 16, 0, 0, {{'S', {-1}}}, false, "S86 S86 S86 "},
      {Read, Seven, 16, 0, 0, {{'T', {-1, 0}}}, true, "S86 T0 S86 T0 R16 "},
      {Write, Seven, 0, 4, 0, {{'W', {3, 1, 4}}}, true, "S86 T0 W4 S86 T0 W4 S86 T0 W4 "},
      {Write, Seven, 0, 0, 0, {}, false, "S86 T0 W0 S86 T0 W0 S86 T0 W0 "},
      {Both, Seven, 16, 2, 0, {{'W', {-1}}}, false, "S86 T0 W2 S86 T0 W2 S86 T0 W2 "},
      {Delayed, Seven, 16, 2, 0, {{'W', {1}}}, false, "S86 T0 W2 S86 T0 W2 S86 T0 W2 "},
      {Read, Seven, 16, 0, 0, {{'R', {-1, 0, 15}}}, false, "S86 T0 R16 S86 T0 R16 S86 T0 R16 "},
      {Read, Seven, 0, 0, 0, {}, false, "S86 T0 R0 S86 T0 R0 S86 T0 R0 "},
      {Delayed, Seven, 16, 2, 0xFFFFFFFF, {}, false, "S86 T0 S86 T0 S86 T0 "},
      {TransactionType::ReadMem, Seven, 16, 2, 0, {}, false, "S86 T0 S86 T0 S86 T0 "},
      {TransactionType::WriteMem, Seven, 16, 2, 0, {}, false, "S86 T0 S86 T0 S86 T0 "},
  };
  for (auto const& row : cases) {
    SCOPED_TRACE(&row - cases);
    MakeBus(row.answers);
    node.calls.clear();
    PosixEvent done(true);
    Transaction record = {row.type,        0x56, row.mode,  row.readLength, in,
                          row.writeLength, out,  row.delay, &done,          0x8};
    record.success = true;
    EXPECT_TRUE(bus->Transact(&record));
    EXPECT_EQ(done.WaitOr(0xFFFFFFFF), 0x8U);
    EXPECT_EQ(record.success, row.success);
    EXPECT_EQ(node.calls, row.calls);
    EXPECT_TRUE(!row.success || node.pause >= milliseconds(row.delay));
  }
}

TEST_F(BusTest, ServesDevicesOverANodeOpenWhileItLives) {
  constexpr long Count = (1L << 32) + 3;  // of which the low 32 bits count
  static char worker[16];
  for (const bool opens : {true, false}) {
    MakeBus(opens ? Answers{} : Answers{{'O', {-1}}});
    node.atEachAttempt = [] { pthread_getname_np(pthread_self(), worker, sizeof worker); };
    bus->SetBusSpeed(400'000);
    EXPECT_EQ(bus->GetBusSpeed(), 0U);
    {
      I2CDevice device(bus, 0x56);
      I2CDevice wide = I2CDevice(std::move(bus), 0x56, AddressMode::TenBit).Sibling(0xFFFF);
      EXPECT_EQ(device.WriteThenRead(out, Count + 1, in, Count + 13), opens ? 16 : 0);
      EXPECT_EQ(wide.WriteDelayRead(out, Count, in, Count + 1, 10), opens ? 4 : 0);
      EXPECT_TRUE(!opens || node.pause >= milliseconds(10));
      EXPECT_EQ(device.Read(in, Count + 2), opens ? 5 : 0);
      EXPECT_EQ(wide.Write(out, Count + 1), opens ? 4 : 0);
    }
    const std::string good = "S86 T0 W4 R16 S65535 T1 W3 R4 S86 T0 R5 S65535 T1 W4 C1000000 ";
    const std::string bad = "S86 S86 S86 S65535 S65535 S65535 S86 S86 S86 S65535 S65535 S65535 C-1 ";
    EXPECT_EQ(node.calls, "O" + std::to_string(O_RDWR) + ' ' + (opens ? good : bad));
    EXPECT_EQ(node.written, opens ? "\1\2\3\4" : "");
    EXPECT_THAT(in, testing::Each(0xA5));
    EXPECT_STREQ(worker, "I2CXactHandler");
    EXPECT_EQ(workerPriority, 58);
  }
}

TEST_F(BusTest, KeepsADeviceConnectedAndItsLocksInPairs) {
  struct LockingBus final : LinuxI2CMasterBus {
    using LinuxI2CMasterBus::LinuxI2CMasterBus;
    bool Lock() override { return brackets += '(', !LinuxI2CMasterBus::Lock(); }
    bool Unlock() override { return brackets += ')', LinuxI2CMasterBus::Unlock(); }
    std::string brackets;
  };
  const auto locking = std::make_shared<LockingBus>(NodePath);
  I2CDevice device(locking, 0x56);
  EXPECT_TRUE(device.Lock());
  EXPECT_FALSE(device.Unlock());
  { const DeviceLock lock(device); }
  EXPECT_EQ(locking->brackets, "()()");

  EXPECT_EQ(device.GetAddress(), 0x56);
  EXPECT_EQ(device.Read(in, 1, std::chrono::microseconds(1)), -2);
  device.Open();
  device.Close();
  EXPECT_TRUE(device.Connected());

  for (int name = 0; name < 7; ++name) {
    EXPECT_EQ(I2C::GetBusAddress(I2C::Bus{name}), 0x40120000 + 0x10000UL * static_cast<unsigned>(name));
  }
  EXPECT_EQ(I2C::GetBusAddress(I2C::Bus{7}), std::nullopt);
}

TEST_F(BusTest, HoldsTenInOrderAndRefusesOneMore) {
  PosixEvent taken(true);
  PosixEvent proceed(true);
  PosixEvent done(false);
  node.atEachAttempt = [&] {
    taken.Signal(1);
    proceed.WaitOr(1);
  };
  std::string calls = node.calls;
  std::array<Transaction, 25> records;
  for (unsigned short i = 0; i < 25; ++i) {
    records[i] = {.address = i, .readLength = 1, .readBuffer = in, .event = &done, .eventFlags = 1U << i};
    calls += "S" + std::to_string(i) + " T0 R1 ";
  }
  EXPECT_FALSE(bus->Transact(nullptr));
  EXPECT_TRUE(bus->Transact(records.data()));
  taken.WaitOr(1);
  for (unsigned int i = 1; i <= 10; ++i) EXPECT_TRUE(bus->Transact(&records[i])) << i;
  for (unsigned int i = 11; i < 35; ++i) {  // round the ring, as long as there are records always full
    EXPECT_EQ(i < 25 ? ReadOne() : 0, 0) << i;
    proceed.Signal(1);
    taken.WaitOr(1);
    EXPECT_TRUE(i >= 25 || bus->Transact(&records[i])) << i;
  }
  proceed.Signal(1);
  EXPECT_TRUE(done.WaitAnd((1U << 25) - 1));
  EXPECT_EQ(node.calls, calls);
}

// The loop has an end only for a worker that never sleeps.
TEST_F(BusTest, SleepsWhileThereIsNothingToDo) {
  node.atEachAttempt = [] { workerSleeps = 0; };
  Transaction unwatched{.readLength = 1, .readBuffer = in};
  EXPECT_TRUE(bus->Transact(&unwatched));
  EXPECT_EQ(ReadOne(), 1);
  for (int i = 0; i < 2000 && workerSleeps == 0; ++i) std::this_thread::sleep_for(milliseconds(1));
  EXPECT_GT(workerSleeps, 0);
}

TEST_F(BusTest, RefusesTransfersItCouldNotComplete) {
  for (const int init : {0, 1, 2}) {  // no thread; an event's mutex; its condition
    bus.reset();
    createError = init == 0 ? EAGAIN : 0;
    initToFail = init;
    MakeBus();
    Transaction record;
    EXPECT_FALSE(bus->Transact(&record));
    EXPECT_EQ(ReadOne(), 0);
    MakeBus();
    initToFail = init;  // of the completion event
    EXPECT_EQ(ReadOne(), init == 0 ? 1 : 0);
    EXPECT_EQ(ReadOne(), 1);
  }
}

}  // namespace
