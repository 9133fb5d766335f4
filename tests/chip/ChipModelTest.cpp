#include <gtest/gtest.h>

#include <cstdint>
#include <vector>

#include "chip/EmulatedChip.h"

namespace {

using Bytes = std::vector<unsigned char>;

constexpr int Refused = -6;

// Moves messages to a chip and lets every write cycle pass unless told otherwise.
class ChipModelTest : public testing::Test {
 protected:
  int Write(Bytes const& message) { return chip.Write(message, now += Cycle); }

  // Returns the bytes read, none when the chip refused.
  Bytes Read(unsigned int length) {
    Bytes bytes(length);
    int const result = chip.Read(bytes, now += Cycle);
    bytes.resize(result < 0 ? 0 : static_cast<unsigned int>(result));
    return bytes;
  }

  Bytes ReadAt(unsigned int address, unsigned int length) {
    Write(Message(address, {}));
    return Read(length);
  }

  static Bytes Message(unsigned int address, Bytes const& data) {
    Bytes message{static_cast<unsigned char>(address >> 8), static_cast<unsigned char>(address & 0xFF)};
    message.insert(message.end(), data.begin(), data.end());
    return message;
  }

  // The memory from `address` on; everything else must be erased.
  void ExpectOnly(unsigned int address, Bytes const& data) {
    Bytes expected(chip.Memory().size(), 0xFF);
    std::copy(data.begin(), data.end(), expected.begin() + address);
    EXPECT_TRUE(std::equal(expected.begin(), expected.end(), chip.Memory().begin()));
  }

  static constexpr std::uint64_t Cycle = 5'000'000;
  EmulatedChip chip;
  std::uint64_t now = 0;
};

TEST_F(ChipModelTest, StoresHighAddressByteFirstAndReadsBackFromThere) {
  EXPECT_EQ(Write(Message(0x1234, {1, 2, 3})), 5);
  ExpectOnly(0x1234, {1, 2, 3});
  EXPECT_EQ(ReadAt(0x1234, 4), (Bytes{1, 2, 3, 0xFF}));
  EXPECT_EQ(ReadAt(0x9234, 3), (Bytes{1, 2, 3})) << "bit 15 is no address bit";
}

TEST_F(ChipModelTest, WritesWrapInsideTheirPage) {
  EXPECT_EQ(Write(Message(0x7F, {1, 2, 3})), 5);
  EXPECT_EQ(ReadAt(0x40, 2), (Bytes{2, 3}));
  EXPECT_EQ(ReadAt(0x7F, 2), (Bytes{1, 0xFF}));
}

TEST_F(ChipModelTest, CounterFollowsTheLastByteAndWrapsAtTheEnd) {
  chip.Memory()[0] = 10;
  chip.Memory()[0x41] = 11;
  chip.Memory()[0x7FFF] = 12;
  EXPECT_EQ(Read(1), Bytes{10});
  Write(Message(0x3F, {1, 2}));  // wraps: the last byte lands at the page's start
  EXPECT_EQ(Read(1), Bytes{0xFF});
  EXPECT_EQ(chip.Model().counter, 2U);
  Write(Message(0x40, {1}));
  EXPECT_EQ(Write({0x77}), 1) << "half an address is acknowledged and sets nothing";
  EXPECT_EQ(Read(1), Bytes{11});
  EXPECT_EQ(ReadAt(0x7FFF, 2), (Bytes{12, 2}));
}

TEST_F(ChipModelTest, AnswersNothingDuringTheWriteCycle) {
  now = 1000;
  ASSERT_EQ(chip.Write(Message(0, {1}), now), 3);
  Bytes one(1);
  EXPECT_EQ(chip.Write({}, now + Cycle - 1), Refused);
  EXPECT_EQ(chip.Read(one, now + Cycle - 1), Refused);
  EXPECT_EQ(chip.Write(Message(0, {}), now + Cycle), 2) << "an address alone starts no cycle";
  EXPECT_EQ(chip.Read(one, now + Cycle), 1);
  EXPECT_EQ(one, Bytes{1});
}

TEST_F(ChipModelTest, SmallChipTakesHighAddressBitsFromTheSlaveAddress) {
  EmulatedChip small(CHIP_CAT24C16, 0x50);
  EXPECT_EQ(small.Memory().size(), 2048U);
  EXPECT_EQ(small.Write(0x53, Bytes{0x1F, 1, 2}, now += Cycle), 3);
  EXPECT_EQ(small.Memory()[0x31F], 1);
  EXPECT_EQ(small.Memory()[0x310], 2) << "pages of 16 bytes";
  Bytes two(2);
  EXPECT_EQ(small.Write(0x50, Bytes{0xFF}, now += Cycle), 1);
  small.Memory()[0x4FF] = 4;
  small.Memory()[0x500] = 5;
  EXPECT_EQ(small.Read(0x54, two, now), 2);
  EXPECT_EQ(two, (Bytes{4, 5}));
  EXPECT_EQ(small.Read(0x53, two, now), 2) << "the counter's low byte, the slave address's high bits";
  EXPECT_EQ(small.Model().counter, 0x303U);
}

TEST_F(ChipModelTest, RefusesChosenMessagesAndChangesNothing) {
  auto const& fault = chip.Add(CHIP_FAULT_REFUSE, 2, 2);
  chip.Model().refusal = -121;
  EXPECT_EQ(Write(Message(0, {1})), 3);
  EXPECT_EQ(Write(Message(0, {2})), -121);
  EXPECT_EQ(Read(1), Bytes{});
  EXPECT_EQ(chip.Model().counter, 1U);
  EXPECT_EQ(Read(1), Bytes{0xFF});
  EXPECT_EQ(fault.met, 2U);
  ExpectOnly(0, {1});

  chip.ClearFaults();
  chip.Add(CHIP_FAULT_REFUSE_LATE, chip.Model().messages + 1, 0);
  EXPECT_EQ(Read(3), Bytes{});
  EXPECT_EQ(chip.Model().counter, 5U);
  EXPECT_EQ(Write(Message(0, {2})), -121);
  EXPECT_EQ(chip.Model().page_writes, 1U);
}

}  // namespace
