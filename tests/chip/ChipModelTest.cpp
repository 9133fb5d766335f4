#include <gmock/gmock.h>

#include <array>
#include <numeric>

#include "chip/EmulatedChip.h"

namespace {

using Bytes = std::vector<unsigned char>;

constexpr int Refused = -6;
constexpr int Whole = 5;  // two address bytes and three of data
const Bytes Old{2, 3, 4, 5};

// Sends messages to a chip whose memory counts from 0 to 255 again and again, and waits out each write cycle.
class ChipModelTest : public testing::Test {
 protected:
  ChipModelTest() { std::iota(chip.Memory().begin(), chip.Memory().end(), 0); }

  int Write(const Bytes& message) { return chip.Write(message, now += Cycle); }

  // Returns the bytes read, none when the chip refused.
  Bytes Read(unsigned int length) {
    Bytes bytes(length);
    const int result = chip.Read(bytes, now += Cycle);
    bytes.resize(result < 0 ? 0 : static_cast<unsigned int>(result));
    return bytes;
  }

  static constexpr std::uint64_t Cycle = 5'000'000;
  EmulatedChip chip;
  std::uint64_t now = 0;
};

TEST_F(ChipModelTest, WritesWrapInsideTheirPageAndReadsAtTheEndOfMemory) {
  EXPECT_EQ(Write({0x12, 0x7F, 1, 2}), 4);
  EXPECT_THAT(chip.Memory().subspan(0x1240, 2), testing::ElementsAre(2, 0x41));
  EXPECT_EQ(chip.Write({}, now + Cycle - 1), Refused);
  EXPECT_EQ(Read(1), Bytes{0x41}) << "the counter follows the last byte";
  EXPECT_EQ(Write({0x77}), 1) << "half an address is acknowledged and sets nothing";
  EXPECT_EQ(Read(1), Bytes{0x42});
  EXPECT_EQ(Write({0xFF, 0xFF}), 2) << "bit 15 is no address bit";
  EXPECT_EQ(Read(2), (Bytes{0xFF, 0}));

  EmulatedChip small(CHIP_CAT24C16, 0x50);
  EXPECT_EQ(small.Write(0x53, Bytes{0x1F, 1, 2}, now), 3);
  EXPECT_EQ(small.Memory()[0x310], 2);
}

TEST_F(ChipModelTest, EachFaultChangesWhatItsNameSays) {
  // A message with the data 9, 8, 7 goes to 0x0002, then two bytes are read twice.
  struct Case {
    const char* fault;
    int written = Whole;
    Bytes first = {};
    Bytes second = {};
    Bytes memory = Old;  // from 0x0002 on
    unsigned int met = 1;
  };
  const std::array<Case, 17> cases{{
      {.fault = "refuse:4", .first = {5, 6}, .second = {7, 8}, .memory = {9, 8, 7, 5}, .met = 0},
      {.fault = "refuse:1", .written = Refused, .first = {0, 1}, .second = {2, 3}},
      {.fault = "refuse:2:0", .memory = {9, 8, 7, 5}, .met = 2},
      {.fault = "refuse-late:1", .written = Refused, .first = {0, 1}, .second = {2, 3}},
      {.fault = "refuse-late:2", .second = {7, 8}, .memory = {9, 8, 7, 5}},
      {.fault = "short:1:1:4", .written = 4, .first = {4, 5}, .second = {6, 7}, .memory = {9, 8, 4, 5}},
      {.fault = "short:2:2:1", .first = {5}, .second = {6}, .memory = {9, 8, 7, 5}, .met = 2},
      {.fault = "flip:1:1:0x8", .first = {6, 7}, .second = {8, 9}, .memory = {2, 9, 8, 7}},
      {.fault = "flip:3:1:15", .first = {5, 6}, .second = {7, 136}, .memory = {9, 8, 7, 5}},
      {.fault = "drop:1:2", .first = {5, 6}, .second = {7, 8}},
      {.fault = "stuck:1", .first = {7, 3}, .second = {4, 5}, .memory = {7, 3, 4, 5}},
      {.fault = "foreign:2:1:0x8001", .first = {1, 9}, .second = {8, 7}, .memory = {9, 8, 7, 5}},
      {.fault = "power-nothing:1"},
      {.fault = "power-first:1:1:2", .memory = {9, 8, 4, 5}},
      {.fault = "power-groups:1:1:2", .memory = {2, 3, 7, 5}},
      {.fault = "power-anything:1", .memory = {0xFF, 0xFF, 0xFF, 0xFF}},
      {.fault = "power-anything:1:1:1", .memory = {165, 98, 203, 128}},
  }};
  for (const Case& one : cases) {
    SCOPED_TRACE(one.fault);
    std::iota(chip.Memory().begin(), chip.Memory().end(), 0);
    chip_model_power_on(&chip.Model());
    chip.ClearFaults();
    const chip_fault& fault = chip.Add(one.fault);
    EXPECT_EQ(Write({0, 2, 9, 8, 7}), one.written);
    EXPECT_EQ(Read(2), one.first);
    EXPECT_EQ(Read(2), one.second);
    EXPECT_THAT(chip.Memory().subspan(2, 4), testing::ElementsAreArray(one.memory));
    EXPECT_EQ(fault.met, one.met);
  }
}

TEST_F(ChipModelTest, PowerAnythingReachesTheWholePageAndNoOther) {
  chip.Add("power-anything:1");
  EXPECT_EQ(Write({0, 0x50, 1}), 3);
  EXPECT_THAT(chip.Memory().subspan(0x40, 64), testing::Each(0xFF));
  EXPECT_EQ(chip.Memory()[0x3F], 0x3F);
  EXPECT_EQ(chip.Memory()[0x80], 0x80);
}

}  // namespace
