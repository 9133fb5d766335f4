#include "eeprom/Eeprom.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <numeric>

#include "eeprom/Cat24c16Eeprom.h"
#include "eeprom/Cat24c256Eeprom.h"
#include "eeprom/EepromFinder.h"
#include "support/Catalogue.h"
#include "support/Rig.h"

namespace {

using testing::ElementsAre;
using Type = Eeprom::EepromType;

constexpr std::uint64_t Pause = 6'000'000;  // 5 ms, and the millisecond that every timed wait adds

struct Piece {
  std::size_t address;
  std::size_t length;

  bool operator==(const Piece&) const = default;
};

// The pieces of one write.
using Pieces = std::vector<Piece>;

struct Driver {
  const char* name;
  Type type;
  unsigned int addressSize;
  std::size_t page;
  int largestRead;
  unsigned int attempts;  // at a piece
  std::vector<Pieces> writes;
};

const Driver Cat24c16 = {
    .name = "Cat24c16",
    .type = Type::Cat24c16,
    .addressSize = 1,
    .page = 16,
    .largestRead = 2,
    .attempts = 1,
    .writes = {{{0x0E, 2}, {0x10, 2}}, {{0x1FF, 1}, {0x200, 16}, {0x210, 1}}, {{2040, 8}}}};

const Driver Cat24c256 = {.name = "Cat24c256",
                          .type = Type::Cat24c256,
                          .addressSize = 2,
                          .page = 64,
                          .largestRead = 16,
                          .attempts = 2,
                          .writes = {{{0x40, 64}},
                                     {{0x20, 32}, {0x40, 64}, {0x80, 4}},
                                     {{0x3F, 1}, {0x40, 1}},
                                     {{0x7FFE, 2}, {0x8000, 2}}}};

std::unique_ptr<Eeprom> MakeEeprom(Type type, std::shared_ptr<I2CBus> bus, unsigned short slave) {
  auto device = std::make_shared<I2CDevice>(std::move(bus), slave);
  if (type == Type::Cat24c16) return std::make_unique<Cat24c16Eeprom>(std::move(device));
  return std::make_unique<Cat24c256Eeprom>(std::move(device));
}

Bytes CountingUp(std::size_t length) {
  Bytes bytes(length);
  std::iota(bytes.begin(), bytes.end(), static_cast<unsigned char>(0));
  return bytes;
}

// A driver on a chip whose bus makes one attempt, so that a refused message is a failed transfer.
struct DriverRig : Rig {
  explicit DriverRig(const Driver& theDriver, unsigned short slave = 0x50)
      : Rig(1, static_cast<chip_kind>(theDriver.type), slave), driver(theDriver) {
    eeprom = MakeEeprom(driver.type, bus, slave);
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
    const std::size_t below = message.bytes[driver.addressSize - 1];
    if (driver.addressSize == 2) return 256U * message.bytes[0] + below;
    return 256U * (message.slave - chip.Model().slave) + below;
  }
  [[nodiscard]] Pieces Sent() const {
    Pieces sent;
    for (const auto& message : bus->messages) {
      sent.push_back({AddressIn(message), message.bytes.size() - driver.addressSize});
    }
    return sent;
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
  for (const Pieces& pieces : driver.writes) {
    rig.bus->messages.clear();
    std::size_t length = 0;
    for (const Piece& piece : pieces) length += piece.length;
    const Bytes data = CountingUp(length);
    const std::size_t address = pieces[0].address;
    Bytes memory = rig.Memory();
    for (std::size_t i = 0; i < length; ++i) {
      memory[(address + i) % memory.size()] = data[i];
    }
    const std::uint64_t begin = VirtualClock::now;
    EXPECT_EQ(rig.Write(address, data), static_cast<int>(length));
    EXPECT_EQ(rig.Sent(), pieces);
    EXPECT_TRUE(rig.Holds(memory));
    EXPECT_EQ(VirtualClock::now - begin, pieces.size() * Pause);
    EXPECT_EQ(rig.chip.Model().busy, 0U);
  }
}

TEST_P(EveryDriver, ReadsInAddressedAndThenContinuedTransfers) {
  const int length = 2 * driver.largestRead + 1;
  const Bytes read = rig.Read(0x77, length);
  EXPECT_EQ(read.size(), static_cast<std::size_t>(length));
  EXPECT_EQ(rig.AddressIn(rig.bus->messages[0]), 0x77U);
  std::vector<int> moved;
  for (const auto& message : rig.bus->messages) {
    moved.push_back(message.moved);
  }
  const int full = driver.largestRead;
  EXPECT_THAT(moved, ElementsAre(driver.addressSize, full, full, 1));
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
  std::fill_n(&data[driver.page], driver.page, Eeprom::ErasedByte);
  EXPECT_EQ(rig.Read(0, static_cast<int>(data.size())), data);
}

TEST_P(EveryDriver, ErasesAndReportsWhetherAnythingWasErased) {
  std::ranges::fill(rig.chip.Memory(), 0);
  Bytes memory = rig.Memory();
  EXPECT_TRUE(rig.eeprom->Erase(100, 10));
  std::fill_n(&memory[100], 10, Eeprom::ErasedByte);
  EXPECT_TRUE(rig.Holds(memory));
  EXPECT_TRUE(rig.eeprom->EraseAll());
  std::ranges::fill(memory, Eeprom::ErasedByte);
  EXPECT_TRUE(rig.Holds(memory));
  EXPECT_EQ(rig.eeprom->GetSizeInBytes(), memory.size());
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
  constexpr int Size = 2048;
  constexpr std::size_t MessagesForOneSlave = 256 / 16;
  constexpr unsigned short First = 0x50;
  for (const int above : {0, 3, 7}) {
    const auto own = static_cast<unsigned short>(First + above);
    DriverRig rig(Cat24c16, own);
    const Bytes data = Catalogue::Data(Size, own);
    ASSERT_EQ(rig.Write(0, data), Size);
    EXPECT_EQ(rig.bus->messages[MessagesForOneSlave - 1].slave, own);
    EXPECT_NE(rig.bus->messages[MessagesForOneSlave].slave, own);
    EXPECT_EQ(rig.Read(0, Size), data) << "no two addresses share a byte";
    const Bytes part(&data[0x1FF], &data[0x1FF + 300]);
    EXPECT_EQ(rig.Read(0x1FF, 300), part);
    EXPECT_EQ(rig.Read(Size - 4, 0x300).size(), 0x300U) << "beyond the end";
    EXPECT_EQ(rig.Holds(data), own == First);
  }
}

// What a driver sends of data that count up from 0, on a bus that answers with the bytes that the chip took.
struct PartialWrite {
  const char* name;
  const Driver& driver;
  std::size_t address;
  std::size_t length;
  std::vector<const char*> faults;  // of the chip
  int written;
  unsigned int pauses;
  Pieces pieces;
  std::vector<int> firstBytes;  // of the data in each piece
};

const PartialWrite PartialWrites[] = {{.name = "GoesOnAfterTheLastByteStored",
                                       .driver = Cat24c256,
                                       .address = 0x20,
                                       .length = 100,
                                       .faults = {"short:1:2:20"},
                                       .written = 86,
                                       .pauses = 3,
                                       .pieces = {{0x20, 32}, {0x20, 32}, {0x32, 14}, {0x40, 54}},
                                       .firstBytes = {0, 0, 32, 46}},
                                      {.name = "SkipsAPieceOfWhichOnlyTheAddressWasTaken",
                                       .driver = Cat24c256,
                                       .address = 0x20,
                                       .length = 40,
                                       .faults = {"short:1:2:2"},
                                       .written = 8,
                                       .pauses = 1,
                                       .pieces = {{0x20, 32}, {0x20, 32}, {0x40, 8}},
                                       .firstBytes = {0, 0, 32}},
                                      {.name = "GoesOnAtTheNextPage",
                                       .driver = Cat24c16,
                                       .address = 0x0E,
                                       .length = 20,
                                       .faults = {"short:1:1:1", "short:3:1:2"},
                                       .written = 17,
                                       .pauses = 2,
                                       .pieces = {{0x0E, 2}, {0x10, 16}, {0x20, 2}},
                                       .firstBytes = {0, 2, 18}}};

TEST(PartialTransfers, WriteEveryByteOnceToWhereTheDriverGoesOn) {
  for (const PartialWrite& row : PartialWrites) {
    SCOPED_TRACE(row.name);
    DriverRig rig(row.driver);
    rig.chip.Model().write_cycle = 0;  // a piece that was stored in part is sent again at once
    rig.bus->answersInPart = true;
    for (const char* const fault : row.faults) rig.chip.Add(fault);
    const std::uint64_t begin = VirtualClock::now;
    EXPECT_EQ(rig.Write(row.address, CountingUp(row.length)), row.written);
    EXPECT_EQ(VirtualClock::now - begin, row.pauses * Pause);
    EXPECT_EQ(rig.Sent(), row.pieces);
    for (std::size_t i = 0; i < row.firstBytes.size(); ++i) {
      EXPECT_EQ(rig.bus->messages.at(i).bytes.at(row.driver.addressSize), row.firstBytes[i]);
    }
  }
}

TEST(PartialTransfers, ReadWhatTheyDeliverInOrder) {
  for (const Driver& driver : {Cat24c16, Cat24c256}) {
    SCOPED_TRACE(driver.name);
    DriverRig rig(driver);
    rig.bus->answersInPart = true;
    const Bytes data = CountingUp(40);
    std::ranges::copy(data, rig.chip.Memory().begin());
    rig.chip.Add("short:2:1:1");  // the first transfer of the read, which goes on after it
    EXPECT_EQ(rig.Read(0, 40), data);
    rig.chip.Add("short:2:1:1");
    rig.chip.Add("short:3:1:1");  // the second one ends it
    EXPECT_EQ(rig.Read(0, 40), Bytes({0, 1}));
  }
}

TEST(EepromFinderTest, FindsNothingWithoutABusAChipOrADriver) {
  constexpr auto UnknownType = static_cast<Type>(2);
  EXPECT_FALSE(EepromFinder::FindEeprom({}, 0x50, Type::Cat24c256));
  Rig rig(1);
  rig.bus->records = true;
  EXPECT_FALSE(EepromFinder::FindEeprom(rig.bus, 0x56, UnknownType));
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
