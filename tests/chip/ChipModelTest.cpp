#include <gmock/gmock.h>

#include <numeric>

#include "support/EmulatedChip.h"

namespace {

using Bytes = std::vector<unsigned char>;

constexpr int Refused = -6;

// Sends messages to a chip whose memory counts from 0 to 255 again and again, and waits out each write cycle.
class ChipModelTest : public testing::Test {
 protected:
  ChipModelTest() { Reset(); }

  void Reset() {
    std::iota(chip.Memory().begin(), chip.Memory().end(), 0);
    chip_model_power_on(&chip.Model());
    chip.ClearFaults();
  }

  int Write(const Bytes& message) {
    now += WriteCycle;
    return chip.Write(Slave, message, now);
  }

  // Returns the bytes read, none when the chip refused.
  Bytes Read(unsigned int length) {
    now += WriteCycle;
    Bytes bytes(length);
    const int result = chip.Read(Slave, bytes, now);
    bytes.resize(result == Refused ? 0 : static_cast<unsigned int>(result));
    return bytes;
  }

  Bytes Memory(std::size_t address, std::size_t length) {
    const auto bytes = chip.Memory().subspan(address, length);
    return {bytes.begin(), bytes.end()};
  }

  static constexpr unsigned int Slave = 0x56;
  static constexpr std::uint64_t WriteCycle = 5'000'000;  // ns
  EmulatedChip chip{CHIP_CAT24C256, Slave};
  std::uint64_t now = 0;
};

TEST_F(ChipModelTest, WritesWrapInsideTheirPageAndReadsAtTheEndOfMemory) {
  EXPECT_EQ(Write({0x12, 0x7F, 1, 2}), 4);
  EXPECT_EQ(Memory(0x127F, 1), Bytes{1});
  EXPECT_EQ(Memory(0x1240, 2), (Bytes{2, 0x41}));
  EXPECT_EQ(chip.Write(Slave, {}, now + WriteCycle - 1), Refused);
  EXPECT_EQ(Read(1), Bytes{0x41}) << "the counter follows the last byte";
  EXPECT_EQ(Write({0x77}), 1) << "half an address is acknowledged and sets nothing";
  EXPECT_EQ(Read(1), Bytes{0x42});
  EXPECT_EQ(Write({0xFF, 0xFF}), 2) << "bit 15 is no address bit";
  EXPECT_EQ(Read(2), (Bytes{0xFF, 0}));
}

TEST_F(ChipModelTest, TheSmallChipTakesAddressBitsFromItsSlaveAddress) {
  EmulatedChip small(CHIP_CAT24C16, 0x50);
  EXPECT_EQ(small.Write(0x53, Bytes{0x1F, 1, 2}, now), 3);
  EXPECT_EQ(small.Memory()[0x31F], 1);
  EXPECT_EQ(small.Memory()[0x310], 2);
}

constexpr unsigned int Address = 2;
const Bytes Old = {2, 3, 4, 5};  // at the address
const Bytes Message = {0, Address, 9, 8, 7};

// Three bytes are written, then two are read twice. What is not named goes as without a fault.
struct FaultCase {
  const char* fault;
  unsigned int met = 1;
  int written = 5;
  Bytes first = {5, 6};
  Bytes second = {7, 8};
  Bytes memory = {9, 8, 7, 5};
};

const FaultCase FaultCases[] = {
    {.fault = "refuse:4", .met = 0},
    {.fault = "refuse:1", .written = Refused, .first = {0, 1}, .second = {2, 3}, .memory = Old},
    {.fault = "refuse:2:0", .met = 2, .first = {}, .second = {}},
    {.fault = "refuse-late:1", .written = Refused, .first = {0, 1}, .second = {2, 3}, .memory = Old},
    {.fault = "refuse-late:2", .first = {}},
    {.fault = "short:1:1:4", .written = 4, .first = {4, 5}, .second = {6, 7}, .memory = {9, 8, 4, 5}},
    {.fault = "short:2:2:1", .met = 2, .first = {5}, .second = {6}},
    {.fault = "flip:1:1:0x8", .first = {6, 7}, .second = {8, 9}, .memory = {2, 9, 8, 7}},
    {.fault = "flip:3:1:15", .second = {7, 0x88}},
    {.fault = "drop:1:2", .memory = Old},
    {.fault = "stuck:1", .first = {7, 3}, .second = {4, 5}, .memory = {7, 3, 4, 5}},
    {.fault = "foreign:2:1:0x8001", .first = {1, 9}, .second = {8, 7}},
    {.fault = "power-nothing:1", .first = {}, .second = {}, .memory = Old},
    {.fault = "power-first:1:1:2", .first = {}, .second = {}, .memory = {9, 8, 4, 5}},
    {.fault = "power-groups:1:1:2", .first = {}, .second = {}, .memory = {2, 3, 7, 5}},
    {.fault = "power-anything:1", .first = {}, .second = {}, .memory = {0xFF, 0xFF, 0xFF, 0xFF}},
    {.fault = "power-anything:1:1:1", .first = {}, .second = {}, .memory = {165, 98, 203, 128}}};

TEST_F(ChipModelTest, EachFaultChangesWhatItsNameSays) {
  for (const FaultCase& row : FaultCases) {
    SCOPED_TRACE(row.fault);
    Reset();
    const chip_fault& fault = chip.Add(row.fault);
    EXPECT_EQ(Write(Message), row.written);
    EXPECT_EQ(Read(2), row.first);
    EXPECT_EQ(Read(2), row.second);
    EXPECT_EQ(Memory(Address, Old.size()), row.memory);
    EXPECT_EQ(fault.met, row.met);
  }
}

TEST_F(ChipModelTest, PowerAnythingReachesTheWholePageAndNoOther) {
  chip.Add("power-anything:1");
  EXPECT_EQ(Write({0, 0x50, 1}), 3);
  EXPECT_EQ(Memory(0x40, 64), Bytes(64, 0xFF));
  EXPECT_EQ(Memory(0x3F, 1), Bytes{0x3F});
  EXPECT_EQ(Memory(0x80, 1), Bytes{0x80});
}

}  // namespace
