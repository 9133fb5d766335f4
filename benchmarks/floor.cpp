// The least that a command can take: opens the node and makes the calls and pauses of Brindle's transfers. It
// hands each transfer to one worker thread, with a semaphore each way: nothing in user space hands over with
// less. It has no store, no driver and no check but the calls' results.
//
// Usage: bench-floor [--bare] NODE STEP... <IMAGE >FILE
//   --bare                makes the calls on its only thread, without a worker
//   read:ADDRESS:LENGTH   reads in transfers of 16 bytes; writes what all steps have read to FILE at the end
//   write:ADDRESS:LENGTH  writes what IMAGE holds at ADDRESS, page by page
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
#include <span>
#include <string_view>
#include <thread>
#include <vector>

namespace {

using Bytes = std::vector<unsigned char>;

constexpr unsigned long Slave = 0x56;
constexpr std::size_t ReadSize = 16;
constexpr std::size_t PageSize = 64;
constexpr std::chrono::milliseconds PagePause(6);  // Brindle's pauses round up by a millisecond

// What goes to the chip, then what comes from it; either may be empty.
struct Transfer {
  std::span<const unsigned char> out;
  std::span<unsigned char> in;
};

int node = -1;
bool hasWorker = true;
Transfer next;  // what the worker is to perform
sem_t queued;
sem_t done;

// Ends the program unless a call returned what it should.
void Check(ssize_t returned, std::size_t expected) {
  if (returned == static_cast<ssize_t>(expected)) return;
  std::perror("bench-floor");
  std::_Exit(1);
}

void MakeCalls(const Transfer& transfer) {
  Check(ioctl(node, I2C_SLAVE, Slave), 0);
  Check(ioctl(node, I2C_TENBIT, 0UL), 0);
  if (!transfer.out.empty())
    Check(write(node, transfer.out.data(), transfer.out.size()), transfer.out.size());
  if (!transfer.in.empty()) Check(read(node, transfer.in.data(), transfer.in.size()), transfer.in.size());
}

void Work() {
  while (sem_wait(&queued) == 0) {
    MakeCalls(next);
    sem_post(&done);
  }
}

void Perform(const Transfer& transfer) {
  if (!hasWorker) return MakeCalls(transfer);
  next = transfer;
  sem_post(&queued);
  sem_wait(&done);
}

std::array<unsigned char, 2> WireAddress(std::size_t address) {
  return {static_cast<unsigned char>(address >> 8), static_cast<unsigned char>(address)};
}

void Read(std::size_t address, std::span<unsigned char> bytes) {
  const auto start = WireAddress(address);
  for (std::size_t count = 0; count < bytes.size(); count += ReadSize) {
    const std::span in = bytes.subspan(count, std::min(ReadSize, bytes.size() - count));
    Perform(count == 0 ? Transfer{start, in} : Transfer{{}, in});
  }
}

void Write(std::size_t address, std::span<const unsigned char> bytes) {
  std::array<unsigned char, 2 + PageSize> message{};
  while (!bytes.empty()) {
    const std::span piece = bytes.first(std::min(PageSize - address % PageSize, bytes.size()));
    std::ranges::copy(WireAddress(address), message.begin());
    std::ranges::copy(piece, message.begin() + 2);
    Perform({std::span(message).first(2 + piece.size()), {}});
    std::this_thread::sleep_for(PagePause);
    address += piece.size();
    bytes = bytes.subspan(piece.size());
  }
}

// Appends what the step reads to `output`.
bool RunStep(const char* step, Bytes& output) {
  std::array<char, 6> kind{};
  std::size_t address = 0;
  std::size_t length = 0;
  if (std::sscanf(step, "%5[a-z]:%zu:%zu", kind.data(), &address, &length) != 3) return false;
  Bytes bytes(length, 0xFF);
  if (kind[0] == 'r') {
    Read(address, bytes);
    output.insert(output.end(), bytes.begin(), bytes.end());
    return true;
  }
  if (kind[0] == 'w') Check(pread(STDIN_FILENO, bytes.data(), length, static_cast<off_t>(address)), length);
  Write(address, bytes);
  return true;
}

}  // namespace

int main(int argc, char* argv[]) {
  std::span<char*> words(argv + 1, static_cast<std::size_t>(argc - 1));
  hasWorker = words.empty() || std::string_view(words[0]) != "--bare";
  if (!hasWorker) words = words.subspan(1);
  if (words.empty()) return 2;

  node = open(words[0], O_RDWR);
  sem_init(&queued, 0, 0);
  sem_init(&done, 0, 0);
  if (hasWorker) std::thread(Work).detach();
  Bytes output;
  for (const char* step : words.subspan(1)) {
    if (!RunStep(step, output)) return 2;
  }
  Check(write(STDOUT_FILENO, output.data(), output.size()), output.size());
  std::_Exit(0);  // the worker never ends
}
