#include "eeprom/Eeprom.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <numeric>
#include <optional>

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
    .writes =
        {
            {{0x0E, 2}, {0x10, 2}},
            {{0x1FF, 1}, {0x200, 16}, {0x210, 1}},
            {{2040, 8}},
        },
};

const Driver Cat24c256 = {
    .name = "Cat24c256",
    .type = Type::Cat24c256,
    .addressSize = 2,
    .page = 64,
    .largestRead = 16,
    .attempts = 2,
    .writes =
        {
            {{0x40, 64}},
            {{0x20, 32}, {0x40, 64}, {0x80, 4}},
            {{0x3F, 1}, {0x40, 1}},
            {{0x7FFE, 2}, {0x8000, 2}},
        },
};

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

struct Transfer {
  std::optional<std::size_t> address = {};  // that it carries
  std::size_t length = 0;                   // of the data
  int first = 0;                            // byte of the data of a write

  bool operator==(const Transfer&) const = default;
};

// A bus that answers what it is told to, whatever it was asked.
class PartialBus final : public I2CBus {
 public:
  explicit PartialBus(std::vector<int> scripted) : answers(std::move(scripted)) {}

  void SetBusSpeed(unsigned int) override {}
  [[nodiscard]] unsigned int GetBusSpeed() const override { return 0; }
  bool Transact(I2C::Transaction*) override { return false; }
  bool Lock() override { return false; }
  bool Unlock() override { return false; }

  // Fills the whole buffer with the number of the transfer.
  int Read(unsigned char* buffer, unsigned int length, unsigned short, I2C::AddressMode) override {
    transfers.push_back({.length = length});
    std::fill_n(buffer, length, static_cast<unsigned char>(transfers.size()));
    return Answer();
  }
  int WriteThenRead(const unsigned char* address, unsigned int addressSize, unsigned char* buffer,
                    unsigned int length, unsigned short slave, I2C::AddressMode mode) override {
    const int answer = Read(buffer, length, slave, mode);
    transfers.back().address = Decode(address, addressSize);
    return answer;
  }
  int WriteDelayRead(const unsigned char*, unsigned int, unsigned char*, unsigned int, unsigned short,
                     I2C::AddressMode, unsigned int) override {
    return 0;
  }
  int Write(const unsigned char* message, unsigned int length, unsigned short, I2C::AddressMode) override {
    transfers.push_back({.address = Decode(message, addressSizeOfWrites),
                         .length = length - addressSizeOfWrites,
                         .first = message[addressSizeOfWrites]});
    return Answer();
  }

  unsigned int addressSizeOfWrites = 2;
  std::vector<Transfer> transfers;

 private:
  static std::size_t Decode(const unsigned char* address, unsigned int size) {
    return size == 1 ? address[0] : 256U * address[0] + address[1];
  }
  int Answer() { return answers.at(transfers.size() - 1); }

  std::vector<int> answers;
};

struct PartialWrite {
  const char* name;
  const Driver& driver;
  unsigned short address;
  std::size_t length;        // of the data, which count up from 0
  std::vector<int> answers;  // with the address bytes
  int written;
  unsigned int pauses;
  std::vector<Transfer> transfers;
};

const PartialWrite PartialWrites[] = {
    {.name = "GoesOnAfterTheLastByteStored",
     .driver = Cat24c256,
     .address = 0x20,
     .length = 100,
     .answers = {20, 20, 16, 56},
     .written = 86,
     .pauses = 3,
     .transfers = {{0x20, 32, 0}, {0x20, 32, 0}, {0x32, 14, 32}, {0x40, 54, 46}}},
    {.name = "SkipsAPieceOfWhichOnlyTheAddressWasTaken",
     .driver = Cat24c256,
     .address = 0x20,
     .length = 40,
     .answers = {2, 2, 10},
     .written = 8,
     .pauses = 1,
     .transfers = {{0x20, 32, 0}, {0x20, 32, 0}, {0x40, 8, 32}}},
    {.name = "CountsOnlyTheLastAttempt",
     .driver = Cat24c256,
     .address = 0,
     .length = 8,
     .answers = {9, -5},
     .written = 0,
     .pauses = 0,
     .transfers = {{0, 8, 0}, {0, 8, 0}}},
    {.name = "GoesOnAtTheNextPage",
     .driver = Cat24c16,
     .address = 0x0E,
     .length = 20,
     .answers = {2, 17, 1},
     .written = 17,
     .pauses = 2,
     .transfers = {{0x0E, 2, 0}, {0x10, 16, 2}, {0x20, 2, 18}}},
};

TEST(PartialTransfers, WriteEveryByteOnceToWhereTheDriverGoesOn) {
  for (const PartialWrite& row : PartialWrites) {
    SCOPED_TRACE(row.name);
    const auto bus = std::make_shared<PartialBus>(row.answers);
    bus->addressSizeOfWrites = row.driver.addressSize;
    const auto eeprom = MakeEeprom(row.driver.type, bus, 0x50);
    const Bytes data = CountingUp(row.length);
    const std::uint64_t begin = VirtualClock::now;
    EXPECT_EQ(eeprom->Write(row.address, data.data(), static_cast<int>(data.size())), row.written);
    EXPECT_EQ(VirtualClock::now - begin, row.pauses * Pause);
    EXPECT_EQ(bus->transfers, row.transfers);
  }
}

struct PartialRead {
  const char* name;
  Type type;
  int length;
  std::vector<int> answers;
  int count;
  std::vector<Transfer> transfers;
  Bytes buffer;  // afterwards: the numbers of the transfers
};

const PartialRead PartialReads[] = {
    {.name = "GoesOnAfterAShortFirstTransfer",
     .type = Type::Cat24c256,
     .length = 20,
     .answers = {3, 16, 1},
     .count = 20,
     .transfers = {{0x77, 16}, {{}, 16}, {{}, 1}},
     .buffer = {1, 1, 1, 2, 2, 2, 2, 2, 2, 2, 2, 2, 2, 2, 2, 2, 2, 2, 2, 3}},
    {.name = "EndsWithTheSecondShortTransfer",
     .type = Type::Cat24c256,
     .length = 6,
     .answers = {1, 2},
     .count = 3,
     .transfers = {{0x77, 6}, {{}, 5}},
     .buffer = {1, 2, 2, 0, 0, 0}},
    {.name = "AddressesAgainAfterNothing",
     .type = Type::Cat24c256,
     .length = 2,
     .answers = {-5, 2},
     .count = 2,
     .transfers = {{0x77, 2}, {0x77, 2}},
     .buffer = {2, 2}},
    {.name = "DeliversStraightIntoTheBuffer",
     .type = Type::Cat24c16,
     .length = 5,
     .answers = {1, 2, 1},
     .count = 4,
     .transfers = {{0x77, 2}, {{}, 2}, {{}, 2}},
     .buffer = {1, 2, 2, 3, 3}},
};

TEST(PartialTransfers, ReadWhatTheyDeliverInOrder) {
  for (const PartialRead& row : PartialReads) {
    SCOPED_TRACE(row.name);
    const auto bus = std::make_shared<PartialBus>(row.answers);
    const auto eeprom = MakeEeprom(row.type, bus, 0x50);
    Bytes buffer(static_cast<std::size_t>(row.length));
    EXPECT_EQ(eeprom->Read(0x77, buffer.data(), row.length), row.count);
    EXPECT_EQ(bus->transfers, row.transfers);
    EXPECT_EQ(buffer, row.buffer);
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
