#include "board/At24.h"

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <thread>
#include <vector>

#include "board/BoardTree.h"
#include "board/MonotonicClock.h"

namespace {

constexpr std::size_t SysfsLimit = 4096;            // the kernel's page
constexpr std::size_t IoLimit = 128;                // the module's parameter io_limit
constexpr std::uint64_t WriteTimeout = 25'000'000;  // its parameter write_timeout, in nanoseconds

// Returns whether the transfer succeeded in time.
bool Repeat(I2CAdapter& adapter, std::span<const EmulatedBus::Message> messages) {
  const std::uint64_t deadline = MonotonicClock::Now() + WriteTimeout;
  for (std::uint64_t start = 0; start < deadline;) {
    start = MonotonicClock::Now();
    if (adapter.Transfer(messages) == static_cast<int>(messages.size())) return true;
    std::this_thread::sleep_for(std::chrono::milliseconds(1));
  }
  return false;
}

}  // namespace

int At24::Transfer(I2CAdapter& adapter, const chip_model& chip, std::size_t page, std::uint64_t offset,
                   std::span<const unsigned char> sent, std::span<unsigned char> received) {
  const chip_rules& rules = *chip_model_rules(chip.kind);
  const bool reads = sent.empty();
  if (!BoardTree::IsClaimed(adapter.Number(), chip.slave)) return -ENODEV;
  if (offset >= rules.size) return reads ? 0 : -EFBIG;
  const std::size_t count = std::min({sent.size() + received.size(), rules.size - offset, SysfsLimit});
  for (std::size_t done = 0, length = 0; done < count; done += length) {
    const std::uint64_t address = offset + done;
    length = std::min({count - done, IoLimit, reads ? IoLimit : page - address % page});

    std::vector<unsigned char> bytes;
    for (unsigned int bits = 8 * rules.address_bytes; bits > 0; bits -= 8) {
      bytes.push_back(static_cast<unsigned char>(address >> (bits - 8)));
    }
    // The slave address carries what the address bytes cannot.
    const unsigned int slave = chip.slave + static_cast<unsigned int>(address >> (8 * rules.address_bytes));
    if (!reads) bytes.insert(bytes.end(), &sent[done], &sent[done] + length);
    std::vector<EmulatedBus::Message> messages{{slave, false, false, bytes}};
    if (reads) messages.push_back({slave, false, true, received.subspan(done, length)});
    if (!Repeat(adapter, messages)) return -ETIMEDOUT;
  }
  return static_cast<int>(count);
}
