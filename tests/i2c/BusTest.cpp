// From a device handle through the queue and its worker down to the calls on the node.
#include <fcntl.h>
#include <gmock/gmock.h>
#include <unistd.h>

#include <cstring>
#include <ctime>
#include <deque>
#include <map>
#include <semaphore>
#include <thread>

#include "i2c/I2CBusHelper.h"
#include "i2c/I2CDevice.h"
#include "i2c/LinuxI2CMasterBus.h"
#include "platform/PosixEvent.h"
#include "support/VirtualClock.h"
#include "support/Wrap.h"

using I2C::AddressMode;
using I2C::Transaction;
using Answers = std::map<char, std::deque<long>>;

// The node that the wrapped calls reach. It keeps each call as a letter and its number: I2C_SLAVE (S),
// I2C_TENBIT (T), the lengths of read (R) and write (W), and the milliseconds of a pause before one (P).
static struct Node {
  int fd = -1;
  std::string calls;
  Answers answers;  // in the place of what a good node answers; the last one for all that follow
  std::string written;
  std::uint64_t lastCall = VirtualClock::now;
  std::function<void()> atEachAttempt = [] {};

  long Answer(char call, long number, long good) {
    const std::uint64_t pause = VirtualClock::now - std::exchange(lastCall, VirtualClock::now);
    if (pause != 0) calls += 'P' + std::to_string(pause / 1'000'000) + ' ';
    calls += call + std::to_string(number) + ' ';
    auto& scripted = answers[call];
    const long answer = scripted.empty() ? good : scripted.front();
    if (scripted.size() > 1) scripted.pop_front();
    return answer;
  }
} node;

static thread_local bool mutexFails = false;  // the next one that this thread makes
static int createError = 0;
static int workerPriority = 0;

WRAP(int, ioctl, int fd, unsigned long request, long argument) {
  constexpr unsigned long SelectSlave = 0x0703;
  constexpr unsigned long SelectWidth = 0x0704;
  char call = '?';
  if (request == SelectSlave) call = 'S';
  if (request == SelectWidth) call = 'T';
  if (call == 'S') node.atEachAttempt();
  node.fd = fd;
  return static_cast<int>(node.Answer(call, argument, fd < 0 ? -1 : 0));
}

WRAP(ssize_t, read, int /*fd*/, void* buffer, size_t length) {
  std::memset(buffer, 0xA5, length);
  return node.Answer('R', static_cast<long>(length), static_cast<long>(length));
}

WRAP(ssize_t, write, int /*fd*/, const void* buffer, size_t length) {
  node.written.assign(static_cast<const char*>(buffer), length);
  return node.Answer('W', static_cast<long>(length), static_cast<long>(length));
}

WRAP(int, pthread_create, pthread_t* id, const pthread_attr_t* attributes, void* (*body)(void*),
     void* argument) {
  if (createError != 0) return std::exchange(createError, 0);
  sched_param parameters{};
  pthread_attr_getschedparam(attributes, &parameters);
  workerPriority = parameters.sched_priority;
  return __real_pthread_create(id, attributes, body, argument);
}

WRAP(int, pthread_mutex_init, pthread_mutex_t* mutex, const pthread_mutexattr_t* attributes) {
  return std::exchange(mutexFails, false) ? EAGAIN : __real_pthread_mutex_init(mutex, attributes);
}

namespace {

unsigned char in[16];
const unsigned char out[] = {1, 2, 3, 4};

class BusTest : public testing::Test {
 protected:
  BusTest() { MakeBus(); }

  void MakeBus(const char* path = "/dev/null") {
    bus.reset();
    node = {};
    bus = std::make_shared<LinuxI2CMasterBus>(path);
  }

  int ReadOne() { return bus->Read(in, 1, 0x56, AddressMode::SevenBit); }

  std::shared_ptr<LinuxI2CMasterBus> bus;
};

struct Attempts {
  const char* name;
  I2C::TransactionType type;
  unsigned int readLength = 16;
  unsigned int writeLength = 2;
  unsigned int delay = 0;  // ms
  Answers answers = {};
  bool success = false;
  const char* calls;
};

using enum I2C::TransactionType;

constexpr char ThreeSelections[] = "S86 T0 S86 T0 S86 T0 ";
constexpr char ThreeWrites[] = "S86 T0 W2 S86 T0 W2 S86 T0 W2 ";
constexpr char ThreeReads[] = "S86 T0 R16 S86 T0 R16 S86 T0 R16 ";

const Attempts AttemptCases[] = {
    {.name = "ReadsAtOnce", .type = Read, .success = true, .calls = "S86 T0 R16 "},
    {.name = "WritesAtOnce", .type = Write, .success = true, .calls = "S86 T0 W2 "},
    {.name = "WritesThenReads", .type = WriteThenRead, .success = true, .calls = "S86 T0 W2 R16 "},
    {.name = "Pauses", .type = WriteDelayRead, .delay = 10, .success = true, .calls = "S86 T0 W2 P11 R16 "},
    {.name = "RepeatsTheSelection", .type = Read, .answers = {{'S', {-1}}}, .calls = "S86 S86 S86 "},
    {.name = "RepeatsWhenTheWidthCannotBeSelected",
     .type = Read,
     .answers = {{'T', {-1, 0}}},
     .success = true,
     .calls = "S86 T0 S86 T0 R16 "},
    {.name = "RepeatsAShortWrite",
     .type = Write,
     .answers = {{'W', {0, 1, 2}}},
     .success = true,
     .calls = ThreeWrites},
    {.name = "WritesNothing", .type = Write, .writeLength = 0, .calls = "S86 T0 W0 S86 T0 W0 S86 T0 W0 "},
    {.name = "FailedWrite", .type = WriteThenRead, .answers = {{'W', {-1}}}, .calls = ThreeWrites},
    {.name = "ShortWrite", .type = WriteDelayRead, .answers = {{'W', {1}}}, .calls = ThreeWrites},
    {.name = "RepeatsAShortRead", .type = Read, .answers = {{'R', {-1, 0, 15}}}, .calls = ThreeReads},
    {.name = "ReadsNothing", .type = Read, .readLength = 0, .calls = "S86 T0 R0 S86 T0 R0 S86 T0 R0 "},
    {.name = "PauseWithoutEnd", .type = WriteDelayRead, .delay = Event::NoTimeout, .calls = ThreeSelections},
    {.name = "HasNoReadMem", .type = ReadMem, .calls = ThreeSelections},
    {.name = "HasNoWriteMem", .type = WriteMem, .calls = ThreeSelections}};

TEST_F(BusTest, MakesExactlyTheCallsOfItsAttempts) {
  constexpr unsigned int Done = 8;
  for (const Attempts& row : AttemptCases) {
    SCOPED_TRACE(row.name);
    MakeBus();
    node.answers = row.answers;
    PosixEvent done(true);
    Transaction record = {.type = row.type,
                          .address = 0x56,
                          .readLength = row.readLength,
                          .readBuffer = in,
                          .writeLength = row.writeLength,
                          .writeBuffer = out,
                          .delayMs = row.delay,
                          .event = &done,
                          .eventFlags = Done,
                          .success = !row.success};
    EXPECT_TRUE(bus->Transact(&record));
    EXPECT_EQ(done.WaitOr(0xFFFFFFFF), Done);
    EXPECT_EQ(record.success, row.success);
    EXPECT_EQ(node.calls, row.calls);
  }
}

TEST_F(BusTest, ServesDevicesOverANodeOpenWhileItLives) {
  // Of which the low 32 bits count, where a long has more.
  constexpr auto Count = static_cast<long>((std::int64_t{1} << 32) + 3);
  static char worker[16];
  node.atEachAttempt = [] { pthread_getname_np(pthread_self(), worker, sizeof worker); };
  bus->SetBusSpeed(400'000);
  EXPECT_EQ(bus->GetBusSpeed(), 0U);
  {
    I2CDevice device(bus, 0x56);
    I2CDevice wide = I2CDevice(std::move(bus), 0x56, AddressMode::TenBit).Sibling(0xFFFF);
    EXPECT_EQ(device.WriteThenRead(out, Count + 1, in, Count + 13), 16);
    EXPECT_EQ(wide.WriteDelayRead(out, Count, in, Count + 1, 10), 4);
    EXPECT_EQ(device.Read(in, Count + 2), 5);
    EXPECT_EQ(wide.Write(out, Count + 1), 4);

    EXPECT_EQ(device.GetAddress(), 0x56);
    EXPECT_EQ(device.Read(in, 1, std::chrono::microseconds(1)), -2);
    EXPECT_FALSE(device.Lock());
    EXPECT_FALSE(device.Unlock());
    device.Open();
    device.Close();
    EXPECT_TRUE(device.Connected());
  }
  EXPECT_EQ(node.calls, "S86 T0 W4 R16 S65535 T1 W3 P11 R4 S86 T0 R5 S65535 T1 W4 ");
  EXPECT_EQ(fcntl(node.fd, F_GETFD), -1) << "closed";
  EXPECT_EQ(node.written, "\1\2\3\4");
  EXPECT_THAT(in, testing::Each(0xA5));
  EXPECT_STREQ(worker, "I2CXactHandler");
  EXPECT_EQ(workerPriority, 58);
}

TEST(I2CBusTest, AddressesAreThoseOfTheProcessor) {
  for (int name = 0; name < 7; ++name) {
    EXPECT_EQ(I2C::GetBusAddress(I2C::Bus{name}), 0x40120000 + 0x10000UL * static_cast<unsigned>(name));
  }
  EXPECT_EQ(I2C::GetBusAddress(I2C::Bus{7}), std::nullopt);
}

TEST_F(BusTest, HoldsTenInOrderAndRefusesOneMore) {
  std::counting_semaphore<25> taken(0);
  std::counting_semaphore<25> proceed(0);
  node.atEachAttempt = [&] {
    taken.release();
    proceed.acquire();
  };
  PosixEvent done(false);
  std::string calls;
  std::array<Transaction, 25> records;  // twice round the ring
  for (unsigned short i = 0; i < 25; ++i) {
    records[i] = {.address = i, .readLength = 1, .readBuffer = in, .event = &done, .eventFlags = 1U << i};
    calls += "S" + std::to_string(i) + " T0 R1 ";
    if (i > 10) {
      EXPECT_EQ(ReadOne(), 0) << i;
      proceed.release();
    }
    if (i == 1 || i > 10) taken.acquire();
    EXPECT_TRUE(bus->Transact(&records[i])) << i;
  }
  proceed.release(11);
  EXPECT_TRUE(done.WaitAnd((1U << 25) - 1));
  EXPECT_EQ(node.calls, calls);
}

TEST_F(BusTest, SleepsWhileThereIsNothingToDo) {
  Transaction unwatched{.readLength = 1, .readBuffer = in};
  EXPECT_TRUE(bus->Transact(&unwatched));
  EXPECT_EQ(ReadOne(), 1);
  const std::clock_t before = std::clock();  // processor time of both threads
  usleep(50'000);
  EXPECT_LT(std::clock() - before, CLOCKS_PER_SEC / 100);
}

TEST_F(BusTest, RefusesTransfersItCouldNotComplete) {
  for (const bool hasThread : {false, true}) {
    bus.reset();
    createError = hasThread ? 0 : EAGAIN;
    mutexFails = hasThread;  // of the control event
    MakeBus();
    Transaction record;
    EXPECT_FALSE(bus->Transact(&record));
    EXPECT_EQ(ReadOne(), 0);
  }
  MakeBus("missing");
  EXPECT_EQ(ReadOne(), 0);
  MakeBus();
  EXPECT_FALSE(bus->Transact(nullptr));
  mutexFails = true;  // of the completion event
  EXPECT_EQ(ReadOne(), 0);
  EXPECT_EQ(ReadOne(), 1);
  EXPECT_EQ(node.calls, "S86 T0 R1 ") << "the first one did not reach the bus";
}

}  // namespace
