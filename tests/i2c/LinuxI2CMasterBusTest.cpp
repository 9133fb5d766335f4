#include "i2c/LinuxI2CMasterBus.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <unistd.h>

#include <chrono>
#include <cstdarg>
#include <cstring>
#include <deque>
#include <map>

#include "platform/PosixEvent.h"
#include "support/Wrap.h"

namespace {

using I2C::AddressMode;
using I2C::TransactionType;
using Answers = std::map<char, std::deque<long>>;

constexpr char NodePath[] = "/dev/i2c-fake";
constexpr int NodeFd = 1'000'000;

// The node behind the wrapped calls. It keeps each call as a letter and its number: open's flags (O),
// I2C_SLAVE (S), I2C_TENBIT (T), the lengths of read (R) and write (W), the descriptor given to close (C).
struct Node {
  std::string calls;
  Answers answers;  // in the place of what a good node answers; the last one for all that follow
  bool opens = true;
  std::string written;
  std::chrono::steady_clock::time_point writeEnd, readBegin;

  long Answer(char call, long number, long good) {
    calls += call + std::to_string(number) + ' ';
    auto& scripted = answers[call];
    const long answer = scripted.empty() ? good : scripted.front();
    if (scripted.size() > 1) scripted.pop_front();
    return answer;
  }
} node;

}  // namespace

WRAP(int, open, char const* path, int flags, ...) {
  if (std::strcmp(path, NodePath) != 0) return __real_open(path, flags);
  return static_cast<int>(node.Answer('O', flags, node.opens ? NodeFd : -1));
}

WRAP(int, ioctl, int fd, unsigned long request, ...) {
  va_list arguments;
  va_start(arguments, request);
  const long argument = va_arg(arguments, long);
  va_end(arguments);
  const char call = request == 0x0703 ? 'S' : request == 0x0704 ? 'T' : '?';
  return static_cast<int>(node.Answer(call, argument, fd == NodeFd ? 0 : -1));
}

WRAP(ssize_t, read, int fd, void* buffer, size_t length) {
  if (fd != NodeFd) return __real_read(fd, buffer, length);
  node.readBegin = std::chrono::steady_clock::now();
  std::memset(buffer, 0xA5, length);
  return node.Answer('R', static_cast<long>(length), static_cast<long>(length));
}

WRAP(ssize_t, write, int fd, void const* buffer, size_t length) {
  if (fd != NodeFd) return __real_write(fd, buffer, length);
  node.written.assign(static_cast<char const*>(buffer), length);
  node.writeEnd = std::chrono::steady_clock::now();
  return node.Answer('W', static_cast<long>(length), static_cast<long>(length));
}

WRAP(int, close, int fd) {
  if (fd != NodeFd && fd != -1) return __real_close(fd);
  return static_cast<int>(node.Answer('C', fd, 0));
}

namespace {

unsigned char in[16];
unsigned char const out[] = {1, 2, 3, 4};

// Performs one record on a node that answers as told. Whether it succeeded, and the calls of its attempts.
std::pair<bool, std::string> Perform(I2C::Transaction record, Answers const& answers = {}) {
  node = {};
  node.answers = answers;
  LinuxI2CMasterBus bus{std::filesystem::path(NodePath)};
  node.calls.clear();
  PosixEvent done(true);
  record.address = 0x56;
  record.readBuffer = in;
  record.writeBuffer = out;
  record.event = &done;
  record.eventFlags = 1;
  EXPECT_TRUE(bus.Transact(&record));
  done.WaitOr(1);
  return {record.success, node.calls};
}

TEST(LinuxI2CMasterBus, MakesExactlyTheCallsOfItsAttempts) {
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
      {Delayed, Seven, 16, 2, 0, {}, true, "S86 T0 W2 R16 "},
      {Read, AddressMode::TenBit, 16, 0, 0, {}, true, "S86 T1 R16 "},
      {Read, Seven, 16, 0, 0, {{'S', {-1}}}, false, "S86 S86 S86 "},
      {Read, Seven, 16, 0, 0, {{'T', {-1, 0}}}, true, "S86 T0 S86 T0 R16 "},
      {Write, Seven, 0, 4, 0, {{'W', {3, 1, 4}}}, true, "S86 T0 W4 S86 T0 W4 S86 T0 W4 "},
      {Both, Seven, 16, 2, 0, {{'W', {-1}}}, false, "S86 T0 W2 S86 T0 W2 S86 T0 W2 "},
      {Read, Seven, 16, 0, 0, {{'R', {-1, 0, 15}}}, false, "S86 T0 R16 S86 T0 R16 S86 T0 R16 "},
      {Read, Seven, 0, 0, 0, {}, false, "S86 T0 R0 S86 T0 R0 S86 T0 R0 "},
      {Delayed, Seven, 16, 2, 0xFFFFFFFF, {}, false, "S86 T0 S86 T0 S86 T0 "},
      {TransactionType::ReadMem, Seven, 16, 2, 0, {}, false, "S86 T0 S86 T0 S86 T0 "},
  };
  for (auto const& row : cases) {
    const auto [success, calls] = Perform({.type = row.type,
                                           .addressMode = row.mode,
                                           .readLength = row.readLength,
                                           .writeLength = row.writeLength,
                                           .delayMs = row.delay},
                                          row.answers);
    EXPECT_EQ(success, row.success) << &row - cases;
    EXPECT_EQ(calls, row.calls) << &row - cases;
  }
}

TEST(LinuxI2CMasterBus, MovesTheCallersBytesOverANodeOpenWhileItLives) {
  for (const bool opens : {true, false}) {
    node = {};
    node.opens = opens;
    {
      LinuxI2CMasterBus bus{std::filesystem::path(NodePath)};
      bus.SetBusSpeed(400'000);
      EXPECT_EQ(bus.GetBusSpeed(), 0U);
      EXPECT_EQ(bus.WriteThenRead(out, 4, in, 16, 0xFFFF, AddressMode::SevenBit), opens ? 16 : 0);
    }
    const std::string open = "O" + std::to_string(O_RDWR) + ' ';
    EXPECT_EQ(node.calls, open + (opens ? "S65535 T0 W4 R16 C1000000 " : "S65535 S65535 S65535 C-1 "));
    EXPECT_EQ(node.written, opens ? "\1\2\3\4" : "");
    EXPECT_THAT(in, testing::Each(0xA5));
  }
}

// Waits real time: the pause between the two transfers is the point.
TEST(LinuxI2CMasterBus, PausesBetweenWriteAndRead) {
  EXPECT_TRUE(
      Perform({.type = TransactionType::WriteDelayRead, .readLength = 1, .writeLength = 1, .delayMs = 10})
          .first);
  EXPECT_GE(node.readBegin - node.writeEnd, std::chrono::milliseconds(10));
}

}  // namespace
