#include "eeprom/Eeprom.h"

#include <gmock/gmock.h>

#include <algorithm>

#include "eeprom/Cat24c16Eeprom.h"
#include "eeprom/Cat24c256Eeprom.h"
#include "eeprom/EepromFinder.h"
#include "support/Catalogue.h"
#include "support/Rig.h"

namespace {

using Type = Eeprom::EepromType;

constexpr std::uint64_t Pause = 6'000'000;  // 5 ms, and the millisecond that every timed wait adds

using Pieces = std::vector<std::pair<std::size_t, std::size_t>>;  // address and length

struct Driver {
  const char* name;
  Type type;
  unsigned int addressSize;
  std::size_t page;
  int largestRead;
  unsigned int attempts;  // at a piece
};

constexpr Driver Cat24c16 = {"Cat24c16", Type::Cat24c16, 1, 16, 2, 1};
constexpr Driver Cat24c256 = {"Cat24c256", Type::Cat24c256, 2, 64, 16, 2};

const std::vector<Pieces> Writes[] = {
    {{{0x0E, 2}, {0x10, 2}}, {{0x1FF, 1}, {0x200, 16}, {0x210, 1}}, {{2040, 8}}},
    {{{0x40, 64}}, {{0x20, 32}, {0x40, 64}, {0x80, 4}}, {{0x3F, 1}, {0x40, 1}}, {{0x7FFE, 2}, {0x8000, 2}}}};

// A driver on a chip whose bus makes one attempt, so that a refused message is a failed transfer.
struct DriverRig : Rig {
  explicit DriverRig(const Driver& theDriver, unsigned short slave = 0x50)
      : Rig(1, static_cast<chip_kind>(theDriver.type), slave), driver(theDriver) {
    const auto device = std::make_shared<I2CDevice>(bus, slave);
    if (driver.type == Type::Cat24c16) {
      eeprom = std::make_unique<Cat24c16Eeprom>(device);
    } else {
      eeprom = std::make_unique<Cat24c256Eeprom>(device);
    }
    bus->records = true;
  }

  int Write(std::size_t address, const Bytes& data) {
    return eeprom->Write(static_cast<unsigned short>(address), data.data(), static_cast<int>(data.size()));
  }
  Bytes Read(unsigned short address, int length) {
    Bytes bytes(static_cast<std::size_t>(length), 0xEE);
    bytes.resize(static_cast<std::size_t>(eeprom->Read(address, bytes.data(), length)));
    return bytes;
  }
  // The memory address that an address message or a write message carries.
  [[nodiscard]] std::size_t AddressIn(const ChipBus::Message& message) const {
    const std::size_t above = driver.addressSize == 2 ? message.bytes[0] : message.slave - chip.Model().slave;
    return 256 * above + message.bytes[driver.addressSize - 1];
  }

  const Driver& driver;
  std::unique_ptr<Eeprom> eeprom;
};

class EveryDriver : public testing::TestWithParam<Driver> {
 protected:
  const Driver& driver = GetParam();
  DriverRig rig{driver};
};

TEST_P(EveryDriver, SendsOneMessageForEachPageTouchedAndWaitsOutEachCycle) {
  for (const Pieces& pieces : Writes[static_cast<std::size_t>(driver.type)]) {
    rig.bus->messages.clear();
    Bytes memory = rig.Memory();
    Bytes data;
    for (const auto& [address, length] : pieces) {
      for (std::size_t i = address; i < address + length; ++i) {
        data.push_back(static_cast<unsigned char>(data.size()));
        memory[i % memory.size()] = data.back();
      }
    }
    const std::uint64_t begin = VirtualClock::now;
    EXPECT_EQ(rig.Write(pieces[0].first, data), static_cast<int>(data.size()));
    Pieces sent;
    for (const auto& message : rig.bus->messages) {
      sent.emplace_back(rig.AddressIn(message), message.bytes.size() - driver.addressSize);
    }
    EXPECT_EQ(sent, pieces);
    EXPECT_TRUE(rig.Holds(memory));
    EXPECT_EQ(VirtualClock::now - begin, pieces.size() * Pause);
    EXPECT_EQ(rig.chip.Model().busy, 0U);
  }
}

TEST_P(EveryDriver, ReadsInAddressedAndThenContinuedTransfers) {
  const int length = 2 * driver.largestRead + 1;
  EXPECT_EQ(rig.Read(0x77, length).size(), static_cast<std::size_t>(length));
  EXPECT_EQ(rig.AddressIn(rig.bus->messages[0]), 0x77U);
  std::vector<int> moved;
  for (const auto& message : rig.bus->messages) moved.push_back(message.moved);
  EXPECT_THAT(moved, testing::ElementsAre(driver.addressSize, driver.largestRead, driver.largestRead, 1));
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
  Bytes data = Catalogue::Data(3 * driver.page, 1);
  rig.chip.Add(CHIP_FAULT_REFUSE, 2, driver.attempts);
  const std::uint64_t begin = VirtualClock::now;
  EXPECT_EQ(rig.Write(0, data), static_cast<int>(2 * driver.page));
  EXPECT_EQ(VirtualClock::now - begin, 2 * Pause);
  EXPECT_EQ(rig.chip.Model().messages, 2U + driver.attempts);
  std::fill_n(&data[driver.page], driver.page, static_cast<unsigned char>(0xFF));
  EXPECT_EQ(rig.Read(0, static_cast<int>(data.size())), data);
}

TEST_P(EveryDriver, ErasesAndReportsWhetherAnythingWasErased) {
  std::ranges::fill(rig.chip.Memory(), 0);
  EXPECT_TRUE(rig.eeprom->Erase(100, 10));
  EXPECT_EQ(rig.Read(99, 12), (Bytes{0, 255, 255, 255, 255, 255, 255, 255, 255, 255, 255, 0}));
  EXPECT_TRUE(rig.eeprom->EraseAll());
  EXPECT_TRUE(rig.Holds(Bytes(rig.eeprom->GetSizeInBytes(), 0xFF)));
  rig.chip.Add(CHIP_FAULT_REFUSE, rig.chip.Model().messages + 2, 0);
  EXPECT_TRUE(rig.eeprom->EraseAll()) << "one page was erased";
  EXPECT_FALSE(rig.eeprom->EraseAll());
  EXPECT_FALSE(rig.bus->IsLocked());
}

INSTANTIATE_TEST_SUITE_P(Drivers, EveryDriver, testing::Values(Cat24c16, Cat24c256),
                         [](const auto& row) { return row.param.name; });

TEST(Cat24c16EepromTest, RefusesAWriteBeyondTheEndWhole) {
  DriverRig rig(Cat24c16);
  EXPECT_EQ(rig.Write(2041, Bytes(8)), 0);
  EXPECT_FALSE(rig.eeprom->Erase(2047, 2));
  EXPECT_EQ(rig.Write(0xFFFF, {1}), 0);
  EXPECT_EQ(rig.chip.Model().messages, 0U);
}

TEST(Cat24c16EepromTest, ReachesEveryByteThroughTheEightSlaveAddressesOfItsChip) {
  for (const unsigned short own : std::initializer_list<unsigned short>{0x50, 0x53, 0x57}) {
    DriverRig rig(Cat24c16, own);
    const Bytes data = Catalogue::Data(2048, own);
    ASSERT_EQ(rig.Write(0, data), 2048);
    EXPECT_EQ(rig.bus->messages[15].slave, own);
    EXPECT_NE(rig.bus->messages[16].slave, own);
    EXPECT_EQ(rig.Read(0, 2048), data) << "no two addresses share a byte";
    EXPECT_EQ(rig.Read(0x1FF, 300), Bytes(&data[0x1FF], &data[0x1FF + 300]));
    EXPECT_EQ(rig.Read(0x7FC, 0x300).size(), 0x300U) << "beyond the end";
    EXPECT_EQ(rig.Holds(data), own == 0x50);
  }
}

TEST(EepromFinderTest, FindsNothingWithoutABusAChipOrADriver) {
  EXPECT_FALSE(EepromFinder::FindEeprom({}, 0x50, Type::Cat24c256));
  Rig rig(1);
  rig.bus->records = true;
  EXPECT_FALSE(EepromFinder::FindEeprom(rig.bus, 0x56, static_cast<Type>(2)));
  EXPECT_EQ(rig.bus->messages.size(), 0U);
  EXPECT_FALSE(EepromFinder::FindEeprom(rig.bus, 0x51, Type::Cat24c256));
  ASSERT_EQ(rig.bus->messages.size(), 2U) << "one address twice, each refused";
  for (const auto& message : rig.bus->messages) {
    EXPECT_EQ(message.slave, 0x51);
    EXPECT_EQ(message.bytes, (Bytes{0, 0}));
  }
  EXPECT_EQ(rig.bus.use_count(), 1);
}

}  // namespace
