#include "eeprom/Eeprom.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <numeric>

#include "eeprom/Cat24c16Eeprom.h"
#include "eeprom/Cat24c256Eeprom.h"
#include "eeprom/EepromFinder.h"
#include "support/Catalogue.h"
#include "support/Rig.h"

namespace {

using Type = Eeprom::EepromType;

constexpr std::uint64_t Pause = 6'000'000;  // 5 ms, and the millisecond that every timed wait adds

Bytes Counting(std::size_t length) {
  Bytes bytes(length);
  std::iota(bytes.begin(), bytes.end(), static_cast<unsigned char>(1));
  return bytes;
}

// A driver on a chip whose bus makes one attempt, so that a refused message is a failed transfer.
struct DriverRig : Rig {
  explicit DriverRig(Type chipType, unsigned short slave = 0x50)
      : Rig(1, chipType == Type::Cat24c16 ? CHIP_CAT24C16 : CHIP_CAT24C256, slave), type(chipType) {
    const auto device = std::make_shared<I2CDevice>(bus, slave);
    if (type == Type::Cat24c16) {
      eeprom = std::make_unique<Cat24c16Eeprom>(device);
    } else {
      eeprom = std::make_unique<Cat24c256Eeprom>(device);
    }
    bus->records = true;
  }

  int Write(unsigned int address, Bytes const& data) {
    return eeprom->Write(static_cast<unsigned short>(address), data.data(), static_cast<int>(data.size()));
  }
  Bytes Read(unsigned int address, int length) {
    Bytes bytes(static_cast<std::size_t>(length), 0xEE);
    const int count = eeprom->Read(static_cast<unsigned short>(address), bytes.data(), length);
    bytes.resize(static_cast<std::size_t>(count));
    return bytes;
  }
  // The memory address that an address message or a write message carries.
  [[nodiscard]] std::size_t AddressIn(ChipBus::Message const& message) const {
    if (type == Type::Cat24c256) return message.bytes[0] * 256U + message.bytes[1];
    return (message.slave - chip.Model().slave) * 256U + message.bytes[0];
  }

  Type type;
  std::unique_ptr<Eeprom> eeprom;
};

using Pieces = std::vector<std::pair<std::size_t, std::size_t>>;  // address and length

struct Split {
  Type type;
  std::size_t address;
  std::size_t length;
  Pieces pieces;
};

Split const Splits[] = {{Type::Cat24c256, 0x40, 64, {{0x40, 64}}},
                        {Type::Cat24c256, 0x20, 100, {{0x20, 32}, {0x40, 64}, {0x80, 4}}},
                        {Type::Cat24c256, 0x3F, 2, {{0x3F, 1}, {0x40, 1}}},
                        {Type::Cat24c256, 0x7FFE, 4, {{0x7FFE, 2}, {0x8000, 2}}},
                        {Type::Cat24c16, 0x0E, 4, {{0x0E, 2}, {0x10, 2}}},
                        {Type::Cat24c16, 0x1FF, 18, {{0x1FF, 1}, {0x200, 16}, {0x210, 1}}},
                        {Type::Cat24c16, 2040, 8, {{2040, 8}}}};

TEST(EepromTest, SendsOneMessageForEachPageTouchedAndWaitsOutEachCycle) {
  for (auto const& [type, address, length, pieces] : Splits) {
    DriverRig rig(type);
    const Bytes data = Counting(length);
    Bytes memory = rig.Memory();
    for (std::size_t i = 0; i < length; ++i) memory[(address + i) % memory.size()] = data[i];
    const std::uint64_t begin = VirtualClock::Now();
    EXPECT_EQ(rig.Write(static_cast<unsigned int>(address), data), static_cast<int>(length));
    Pieces sent;
    for (auto const& message : rig.bus->messages) {
      sent.emplace_back(rig.AddressIn(message), message.bytes.size() - (type == Type::Cat24c16 ? 1 : 2));
    }
    EXPECT_EQ(sent, pieces);
    EXPECT_TRUE(rig.Holds(memory));
    EXPECT_EQ(VirtualClock::Now() - begin, pieces.size() * Pause);
    EXPECT_EQ(rig.chip.Model().busy, 0U);
  }
}

// What both drivers promise, each with its page, its largest read and its attempts at a piece.
struct Driver {
  char const* name;
  Type type;
  int size;
  std::size_t page;
  int largestRead;
  unsigned int attempts;
};

class EveryDriver : public testing::TestWithParam<Driver> {
 protected:
  Driver driver = GetParam();
  DriverRig rig{driver.type};
};

TEST_P(EveryDriver, ReadsInAddressedAndThenContinuedTransfers) {
  const int length = 2 * driver.largestRead + 1;
  EXPECT_EQ(rig.Read(0x77, length).size(), static_cast<std::size_t>(length));
  auto const& messages = rig.bus->messages;
  ASSERT_EQ(messages.size(), 4U);
  EXPECT_EQ(rig.AddressIn(messages[0]), 0x77U);
  const int reads[] = {messages[1].moved, messages[2].moved, messages[3].moved};
  EXPECT_THAT(reads, testing::ElementsAre(driver.largestRead, driver.largestRead, 1));
}

TEST_P(EveryDriver, RefusesEmptyTransfersWithoutBusTraffic) {
  unsigned char byte = 0x77;
  for (const int length : {0, -1}) {
    EXPECT_EQ(rig.eeprom->Read(0, &byte, length), 0);
    EXPECT_EQ(rig.eeprom->Write(0, &byte, length), 0);
  }
  EXPECT_FALSE(rig.eeprom->Erase(0, 0));
  EXPECT_EQ(rig.chip.Model().messages, 0U);
  EXPECT_EQ(byte, 0x77);
}

TEST_P(EveryDriver, SkipsARefusedPieceWithoutAPauseAndGoesOn) {
  const Bytes data = Counting(3 * driver.page);
  rig.chip.Add(CHIP_FAULT_REFUSE, 2, driver.attempts);
  const std::uint64_t begin = VirtualClock::Now();
  EXPECT_EQ(rig.Write(0, data), static_cast<int>(2 * driver.page));
  EXPECT_EQ(VirtualClock::Now() - begin, 2 * Pause);
  EXPECT_EQ(rig.chip.Model().messages, 2U + driver.attempts);
  Bytes expected = data;
  std::fill_n(expected.begin() + static_cast<long>(driver.page), driver.page,
              static_cast<unsigned char>(0xFF));
  EXPECT_EQ(rig.Read(0, static_cast<int>(3 * driver.page)), expected);
}

TEST_P(EveryDriver, ErasesAndReportsWhetherAnythingWasErased) {
  std::ranges::fill(rig.chip.Memory(), 0);
  EXPECT_TRUE(rig.eeprom->Erase(100, 10));
  EXPECT_EQ(rig.Read(99, 12), (Bytes{0, 255, 255, 255, 255, 255, 255, 255, 255, 255, 255, 0}));
  EXPECT_TRUE(rig.eeprom->EraseAll());
  EXPECT_EQ(std::ranges::count(rig.chip.Memory(), 0xFF), driver.size);
  rig.chip.Add(CHIP_FAULT_REFUSE, rig.chip.Model().messages + 2, 0);
  EXPECT_TRUE(rig.eeprom->EraseAll()) << "one page was erased";
  EXPECT_FALSE(rig.eeprom->EraseAll());
  EXPECT_FALSE(rig.bus->IsLocked());
}

INSTANTIATE_TEST_SUITE_P(Drivers, EveryDriver,
                         testing::Values(Driver{"Cat24c16", Type::Cat24c16, 2048, 16, 2, 1},
                                         Driver{"Cat24c256", Type::Cat24c256, 32768, 64, 16, 2}),
                         [](auto const& row) { return row.param.name; });

TEST(Cat24c16EepromTest, RefusesAWriteBeyondTheEndWhole) {
  DriverRig rig(Type::Cat24c16);
  EXPECT_EQ(rig.Write(2041, Counting(8)), 0);
  EXPECT_FALSE(rig.eeprom->Erase(2047, 2));
  EXPECT_EQ(rig.Write(0xFFFF, {1}), 0);
  EXPECT_EQ(rig.chip.Model().messages, 0U);
}

TEST(Cat24c16EepromTest, ReachesEveryByteThroughTheEightSlaveAddressesOfItsChip) {
  for (const unsigned short own : std::initializer_list<unsigned short>{0x50, 0x53, 0x57}) {
    DriverRig rig(Type::Cat24c16, own);
    const Bytes data = Catalogue::Data(2048, own);
    ASSERT_EQ(rig.Write(0, data), 2048);
    EXPECT_EQ(rig.bus->messages[15].slave, own);
    EXPECT_NE(rig.bus->messages[16].slave, own);
    EXPECT_EQ(rig.Read(0, 2048), data) << "no two addresses share a byte";
    EXPECT_EQ(rig.Read(0x1FF, 300), Bytes(data.begin() + 0x1FF, data.begin() + 0x1FF + 300));
    EXPECT_EQ(rig.Read(0x7FC, 0x300).size(), 0x300U) << "beyond the end";
    EXPECT_EQ(rig.Holds(data), own == 0x50);
  }
}

TEST(EepromFinderTest, FindsNothingWithoutABusAChipOrADriver) {
  EXPECT_FALSE(EepromFinder::FindEeprom({}, 0x50, Type::Cat24c256));
  DriverRig rig(Type::Cat24c256, 0x50);
  rig.eeprom.reset();
  EXPECT_FALSE(EepromFinder::FindEeprom(rig.bus, 0x50, static_cast<Type>(2)));
  EXPECT_EQ(rig.bus->messages.size(), 0U);
  EXPECT_FALSE(EepromFinder::FindEeprom(rig.bus, 0x51, Type::Cat24c256));
  ASSERT_EQ(rig.bus->messages.size(), 2U) << "one address twice, each refused";
  for (auto const& message : rig.bus->messages) {
    EXPECT_EQ(message.slave, 0x51);
    EXPECT_EQ(message.bytes, (Bytes{0, 0}));
  }
  EXPECT_EQ(rig.bus.use_count(), 1);
}

}  // namespace
