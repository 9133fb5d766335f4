// The least that a command can take: opens the node and makes the calls and pauses of Brindle's transfers. It
// hands each transfer to one worker thread, and has no store, no driver and no check but the calls' results.
//
// Usage: bench-floor [--bare] NODE STEP... <IMAGE >FILE
//   --bare                makes the calls on its only thread, without a worker
//   read:ADDRESS:LENGTH   reads in transfers of 16 bytes; writes what all steps have read to FILE at the end
//   write:ADDRESS:LENGTH  writes what IMAGE holds at ADDRESS, page by page
//   bytes:ADDRESS:LENGTH  writes it byte by byte and waits just 5 ms, as programs for small EEPROMs do
//   erase:ADDRESS:LENGTH  writes 0xFF, page by page
#include <fcntl.h>
#include <linux/i2c-dev.h>
#include <semaphore.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <span>
#include <string_view>
#include <thread>
#include <vector>

namespace {

using Bytes = std::vector<unsigned char>;

constexpr unsigned long Slave = 0x56;
constexpr std::size_t ReadSize = 16;
constexpr std::size_t PageSize = 64;
constexpr std::chrono::milliseconds WriteCycle(5);
constexpr std::chrono::milliseconds PagePause(6);  // Brindle's pauses round up by a millisecond

// What goes to the chip, then what comes from it; either may be empty.
struct Transfer {
  std::span<unsigned char const> out;
  std::span<unsigned char> in;
};
using Performer = std::function<void(Transfer const&)>;

// Ends the program unless a call returned what it should.
void Check(ssize_t returned, std::size_t expected) {
  if (returned == static_cast<ssize_t>(expected)) return;
  std::perror("bench-floor");
  std::_Exit(1);
}

void Perform(int node, Transfer const& transfer) {
  Check(ioctl(node, I2C_SLAVE, Slave), 0);
  Check(ioctl(node, I2C_TENBIT, 0UL), 0);
  if (!transfer.out.empty())
    Check(write(node, transfer.out.data(), transfer.out.size()), transfer.out.size());
  if (!transfer.in.empty()) Check(read(node, transfer.in.data(), transfer.in.size()), transfer.in.size());
}

// Performs the transfers of one caller on another thread, with a semaphore each way: nothing in user space
// hands over with less. Lives as long as the process.
class Worker final {
 public:
  explicit Worker(int node) {
    sem_init(&queued, 0, 0);
    sem_init(&done, 0, 0);
    std::thread([this, node] {
      while (sem_wait(&queued) == 0) {
        ::Perform(node, *next);
        sem_post(&done);
      }
    }).detach();
  }

  void Perform(Transfer const& transfer) {
    next = &transfer;
    sem_post(&queued);
    sem_wait(&done);
  }

 private:
  sem_t queued{};
  sem_t done{};
  Transfer const* next = nullptr;
};

std::array<unsigned char, 2> WireAddress(std::size_t address) {
  return {static_cast<unsigned char>(address >> 8), static_cast<unsigned char>(address)};
}

void Read(std::size_t address, std::span<unsigned char> bytes, Performer const& perform) {
  const auto start = WireAddress(address);
  for (std::size_t count = 0; count < bytes.size(); count += ReadSize) {
    const std::span in = bytes.subspan(count, std::min(ReadSize, bytes.size() - count));
    perform(count == 0 ? Transfer{start, in} : Transfer{{}, in});
  }
}

void Write(std::size_t address, std::span<unsigned char const> bytes, std::size_t page,
           std::chrono::milliseconds pause, Performer const& perform) {
  std::array<unsigned char, 2 + PageSize> message{};
  while (!bytes.empty()) {
    const std::span piece = bytes.first(std::min(page - address % page, bytes.size()));
    std::ranges::copy(WireAddress(address), message.begin());
    std::ranges::copy(piece, message.begin() + 2);
    perform({std::span(message).first(2 + piece.size()), {}});
    std::this_thread::sleep_for(pause);
    address += piece.size();
    bytes = bytes.subspan(piece.size());
  }
}

// Appends what the step reads to `output`.
bool RunStep(char const* step, Bytes& output, Performer const& perform) {
  std::array<char, 6> kind{};
  std::size_t address = 0;
  std::size_t length = 0;
  if (std::sscanf(step, "%5[a-z]:%zu:%zu", kind.data(), &address, &length) != 3) return false;
  Bytes bytes(length, 0xFF);
  if (kind[0] == 'r') {
    Read(address, bytes, perform);
    output.insert(output.end(), bytes.begin(), bytes.end());
    return true;
  }
  if (kind[0] != 'e') Check(pread(STDIN_FILENO, bytes.data(), length, static_cast<off_t>(address)), length);
  const bool single = kind[0] == 'b';
  Write(address, bytes, single ? 1 : PageSize, single ? WriteCycle : PagePause, perform);
  return true;
}

}  // namespace

int main(int argc, char* argv[]) {
  std::span<char*> words(argv + 1, static_cast<std::size_t>(argc - 1));
  const bool bare = !words.empty() && std::string_view(words[0]) == "--bare";
  if (bare) words = words.subspan(1);
  if (words.empty()) return 2;

  const int node = open(words[0], O_RDWR);
  Performer perform = [node](Transfer const& transfer) { Perform(node, transfer); };
  if (!bare) perform = [worker = new Worker(node)](Transfer const& transfer) { worker->Perform(transfer); };
  Bytes output;
  for (char const* step : words.subspan(1)) {
    if (!RunStep(step, output, perform)) return 2;
  }
  Check(write(STDOUT_FILENO, output.data(), output.size()), output.size());
  std::_Exit(0);  // the worker never ends
}
