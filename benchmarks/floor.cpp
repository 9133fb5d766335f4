// The least that a command can take: opens the node and makes the calls and pauses of Brindle's transfers,
// each transfer handed to one worker thread, without a store, a driver or a check beyond the call's result.
//
// Usage: bench-floor [--bare] NODE STEP...
//   --bare                      makes the calls itself, without a worker
//   read:ADDRESS:LENGTH[:FILE]  reads in transfers of 16 bytes, into FILE at the end
//   write:ADDRESS:FILE          writes FILE page by page
//   bytes:ADDRESS:FILE          writes FILE byte by byte and waits just 5 ms, as programs for small EEPROMs
//   do
#include <fcntl.h>
#include <linux/i2c-dev.h>
#include <semaphore.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <span>
#include <string>
#include <thread>
#include <vector>

namespace {

using Bytes = std::vector<unsigned char>;

constexpr unsigned long Slave = 0x56;
constexpr std::size_t ReadSize = 16;
constexpr std::size_t PageSize = 64;
constexpr long WriteCycle = 5'000'000;  // ns
constexpr long PagePause = 6'000'000;   // ns: Brindle's pauses round up by a millisecond

[[noreturn]] void Fail(char const* what) {
  std::perror(what);
  std::_Exit(1);
}

// What goes to the chip, then what comes from it; either may be empty.
struct Transfer {
  std::span<unsigned char const> out;
  std::span<unsigned char> in;
};

class Node {
 public:
  explicit Node(char const* path) : fd(open(path, O_RDWR)) {
    if (fd < 0) Fail(path);
  }

  void Perform(Transfer const& transfer) const {
    if (ioctl(fd, I2C_SLAVE, Slave) < 0 || ioctl(fd, I2C_TENBIT, 0UL) < 0) Fail("ioctl");
    Check(transfer.out.empty() ? 0 : write(fd, transfer.out.data(), transfer.out.size()),
          transfer.out.size());
    Check(transfer.in.empty() ? 0 : read(fd, transfer.in.data(), transfer.in.size()), transfer.in.size());
  }

 private:
  static void Check(ssize_t moved, std::size_t size) {
    if (moved != static_cast<ssize_t>(size)) Fail("transfer");
  }

  int fd;
};

// One caller, one worker, a semaphore each way: nothing in user space hands over with less.
class Worker {
 public:
  explicit Worker(Node const& servedNode) : node(servedNode) {
    sem_init(&queued, 0, 0);
    sem_init(&done, 0, 0);
    std::thread([this] { Serve(); }).detach();
  }

  void Perform(Transfer const& transfer) {
    next = &transfer;
    sem_post(&queued);
    sem_wait(&done);
  }

 private:
  [[noreturn]] void Serve() {
    while (true) {
      sem_wait(&queued);
      node.Perform(*next);
      sem_post(&done);
    }
  }

  Node const& node;
  sem_t queued{};
  sem_t done{};
  Transfer const* next = nullptr;
};

void Pause(long duration) {
  timespec time{};
  clock_gettime(CLOCK_MONOTONIC, &time);
  time.tv_nsec += duration;
  if (time.tv_nsec >= 1'000'000'000) {
    ++time.tv_sec;
    time.tv_nsec -= 1'000'000'000;
  }
  clock_nanosleep(CLOCK_MONOTONIC, TIMER_ABSTIME, &time, nullptr);
}

std::array<unsigned char, 2> WireAddress(std::size_t address) {
  return {static_cast<unsigned char>(address >> 8), static_cast<unsigned char>(address)};
}

template <typename Perform>
Bytes Read(std::size_t address, std::size_t length, Perform const& perform) {
  Bytes bytes(length);
  const auto start = WireAddress(address);
  for (std::size_t count = 0; count < length; count += ReadSize) {
    const std::span in = std::span(bytes).subspan(count, std::min(ReadSize, length - count));
    perform(count == 0 ? Transfer{start, in} : Transfer{{}, in});
  }
  return bytes;
}

template <typename Perform>
void Write(std::size_t address, Bytes const& bytes, std::size_t page, long pause, Perform const& perform) {
  std::array<unsigned char, 2 + PageSize> message{};
  for (std::size_t count = 0; count < bytes.size();) {
    const std::size_t size = std::min(page - (address + count) % page, bytes.size() - count);
    std::ranges::copy(WireAddress(address + count), message.begin());
    std::memcpy(message.data() + 2, bytes.data() + count, size);
    perform(Transfer{std::span(message).first(2 + size), {}});
    Pause(pause);
    count += size;
  }
}

Bytes Load(std::string const& path) {
  Bytes bytes(32768);
  const int fd = open(path.c_str(), O_RDONLY);
  const ssize_t size = fd < 0 ? -1 : read(fd, bytes.data(), bytes.size());
  if (size < 0) Fail(path.c_str());
  close(fd);
  bytes.resize(static_cast<std::size_t>(size));
  return bytes;
}

void Save(std::string const& path, Bytes const& bytes) {
  const int fd = open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0666);
  if (fd < 0 || write(fd, bytes.data(), bytes.size()) < 0 || close(fd) != 0) Fail(path.c_str());
}

template <typename Perform>
void RunStep(std::string const& step, Perform const& perform) {
  std::array<std::string, 4> words;
  std::size_t from = 0;
  for (std::string& word : words) {
    const std::size_t to = std::min(step.find(':', from), step.size());
    word = step.substr(from, to - from);
    from = std::min(to + 1, step.size());
  }
  const std::size_t address = std::stoul(words[1], nullptr, 0);
  if (words[0] == "read") {
    const Bytes bytes = Read(address, std::stoul(words[2], nullptr, 0), perform);
    if (!words[3].empty()) Save(words[3], bytes);
  } else if (words[0] == "write") {
    Write(address, Load(words[2]), PageSize, PagePause, perform);
  } else {
    Write(address, Load(words[2]), 1, WriteCycle, perform);
  }
}

template <typename Performer>
void RunSteps(std::span<char*> steps, Performer& performer) {
  for (char const* step : steps)
    RunStep(step, [&](Transfer const& transfer) { performer.Perform(transfer); });
}

}  // namespace

int main(int argc, char* argv[]) {
  std::span arguments(argv + 1, static_cast<std::size_t>(argc - 1));
  const bool bare = !arguments.empty() && std::string(arguments[0]) == "--bare";
  if (bare) arguments = arguments.subspan(1);
  if (arguments.size() < 2) return 2;

  static Node node(arguments[0]);
  if (bare) {
    RunSteps(arguments.subspan(1), node);
  } else {
    static Worker worker(node);
    RunSteps(arguments.subspan(1), worker);
  }
  std::_Exit(0);  // the worker never ends
}
