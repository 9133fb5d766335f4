#include <gmock/gmock.h>

#include <numeric>

#include "chip/EmulatedChip.h"

namespace {

using Bytes = std::vector<unsigned char>;

constexpr int Refused = -6;

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
  using Row = std::tuple<const char*, unsigned int, int, Bytes, Bytes, Bytes>;
  const Bytes old{2, 3, 4, 5};
  // Three bytes are written to 0x0002, then two are read twice.
  for (const auto& [text, met, written, first, second, memory] :
       std::initializer_list<Row>{{"refuse:4", 0, 5, {5, 6}, {7, 8}, {9, 8, 7, 5}},
                                  {"refuse:1", 1, Refused, {0, 1}, {2, 3}, old},
                                  {"refuse:2:0", 2, 5, {}, {}, {9, 8, 7, 5}},
                                  {"refuse-late:1", 1, Refused, {0, 1}, {2, 3}, old},
                                  {"refuse-late:2", 1, 5, {}, {7, 8}, {9, 8, 7, 5}},
                                  {"short:1:1:4", 1, 4, {4, 5}, {6, 7}, {9, 8, 4, 5}},
                                  {"short:2:2:1", 2, 5, {5}, {6}, {9, 8, 7, 5}},
                                  {"flip:1:1:0x8", 1, 5, {6, 7}, {8, 9}, {2, 9, 8, 7}},
                                  {"flip:3:1:15", 1, 5, {5, 6}, {7, 136}, {9, 8, 7, 5}},
                                  {"drop:1:2", 1, 5, {5, 6}, {7, 8}, old},
                                  {"stuck:1", 1, 5, {7, 3}, {4, 5}, {7, 3, 4, 5}},
                                  {"foreign:2:1:0x8001", 1, 5, {1, 9}, {8, 7}, {9, 8, 7, 5}},
                                  {"power-nothing:1", 1, 5, {}, {}, old},
                                  {"power-first:1:1:2", 1, 5, {}, {}, {9, 8, 4, 5}},
                                  {"power-groups:1:1:2", 1, 5, {}, {}, {2, 3, 7, 5}}}) {
    SCOPED_TRACE(text);
    std::iota(chip.Memory().begin(), chip.Memory().end(), 0);
    chip_model_power_on(&chip.Model());
    chip.ClearFaults();
    const chip_fault& fault = chip.Add(text);
    EXPECT_EQ(Write({0, 2, 9, 8, 7}), written);
    EXPECT_EQ(Read(2), first);
    EXPECT_EQ(Read(2), second);
    EXPECT_THAT(chip.Memory().subspan(2, 4), testing::ElementsAreArray(memory));
    EXPECT_EQ(fault.met, met);
  }
}

}  // namespace
