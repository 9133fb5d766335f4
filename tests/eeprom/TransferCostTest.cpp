// What a transfer may cost beside the chip: heap allocations and sleeps, counted.
#include <gtest/gtest.h>
#include <sys/resource.h>

#include <array>
#include <atomic>
#include <vector>

#include "eeprom/Cat24c256Eeprom.h"
#include "support/Rig.h"

namespace {

std::atomic<long> allocations{0};

}  // namespace

// operator new(std::size_t), as the product calls it.
extern "C" void* __real__Znwm(std::size_t size);
extern "C" void* __wrap__Znwm(std::size_t size) {
  ++allocations;
  return __real__Znwm(size);
}

namespace {

template <typename Operation>
long AllocationsOf(Operation const& operation) {
  const long before = allocations;
  operation();
  return allocations - before;
}

class TransferCostTest : public testing::Test {
 protected:
  long AllocationsOfRead(int length) {
    std::vector<unsigned char> bytes(static_cast<std::size_t>(length));
    return AllocationsOf([&] { EXPECT_EQ(eeprom.Read(0, bytes.data(), length), length); });
  }

  long AllocationsOfWrite(int length) {
    std::vector<unsigned char> bytes(static_cast<std::size_t>(length));
    return AllocationsOf([&] { EXPECT_EQ(eeprom.Write(0, bytes.data(), length), length); });
  }

  Rig rig{ChipBus::Path::Queued};
  Cat24c256Eeprom eeprom{std::make_shared<I2CDevice>(rig.bus, 0x56)};
};

TEST_F(TransferCostTest, AReadAllocatesItsEventAndNothingElse) {
  EXPECT_EQ(AllocationsOfRead(32 * 16) - AllocationsOfRead(16), 31);
  EXPECT_LE(AllocationsOfRead(16), 2);
}

// The transfer's event, and the pause with the event inside it; once for each write its two buffers.
TEST_F(TransferCostTest, APageWriteAllocatesItsEventsAndNothingElse) {
  EXPECT_EQ(AllocationsOfWrite(4 * 64) - AllocationsOfWrite(64), 3 * 3);
  EXPECT_LE(AllocationsOfWrite(64), 5);
}

// The worker sleeps for work, the caller for the result. A third sleep would be a lock that somebody holds
// while the other needs it; it may happen now and then, but not for every transfer.
TEST_F(TransferCostTest, ATransferTakesTwoSleeps) {
  constexpr int Transfers = 2000;
  const auto sleeps = [] {
    rusage usage{};
    getrusage(RUSAGE_SELF, &usage);
    return usage.ru_nvcsw;
  };
  std::array<unsigned char, 16> bytes{};
  const long before = sleeps();
  rig.bus->Lock();
  for (int i = 0; i < Transfers; ++i)
    rig.bus->Read(bytes.data(), bytes.size(), 0x56, I2C::AddressMode::SevenBit);
  EXPECT_LE(sleeps() - before, Transfers * 5 / 2);
}

}  // namespace
