// What a transfer may cost beside the chip: heap allocations and sleeps, counted.
#include <gtest/gtest.h>
#include <sys/resource.h>

#include <array>
#include <atomic>
#include <vector>

#include "eeprom/Cat24c256Eeprom.h"
#include "support/Rig.h"
#include "support/Wrap.h"

namespace {

std::atomic<long> allocations{0};

}  // namespace

// operator new(std::size_t), as the product calls it.
WRAP(void*, _Znwm, std::size_t size) {
  ++allocations;
  return __real__Znwm(size);
}

namespace {

class TransferCostTest : public testing::Test {
 protected:
  long AllocationsOf(bool isWrite, int length) {
    std::vector<unsigned char> bytes(static_cast<std::size_t>(length));
    const long before = allocations;
    const int count = isWrite ? eeprom.Write(0, bytes.data(), length) : eeprom.Read(0, bytes.data(), length);
    const long after = allocations;
    EXPECT_EQ(count, length);
    return after - before;
  }

  Rig rig{ChipBus::Path::Queued};
  Cat24c256Eeprom eeprom{std::make_shared<I2CDevice>(rig.bus, 0x56)};
};

// The event of each transfer; for a page also the pause with the event inside it, and once for each write its
// two buffers.
TEST_F(TransferCostTest, ATransferAllocatesItsEventsAndNothingElse) {
  EXPECT_EQ(AllocationsOf(false, 32 * 16) - AllocationsOf(false, 16), 31);
  EXPECT_LE(AllocationsOf(false, 16), 2);
  EXPECT_EQ(AllocationsOf(true, 4 * 64) - AllocationsOf(true, 64), 3 * 3);
  EXPECT_LE(AllocationsOf(true, 64), 5);
}

// The worker sleeps for work, the caller for the result. A third sleep would be a lock that somebody holds
// while the other needs it; it may happen now and then, but not for every transfer.
TEST_F(TransferCostTest, ATransferTakesTwoSleeps) {
  constexpr int Transfers = 2000;
  rusage before{};
  rusage after{};
  std::array<unsigned char, 16> bytes{};
  rig.bus->Lock();
  getrusage(RUSAGE_SELF, &before);
  for (int i = 0; i < Transfers; ++i) {
    rig.bus->Read(bytes.data(), bytes.size(), 0x56, I2C::AddressMode::SevenBit);
  }
  getrusage(RUSAGE_SELF, &after);
  EXPECT_LE(after.ru_nvcsw - before.ru_nvcsw, Transfers * 5 / 2);
}

}  // namespace
