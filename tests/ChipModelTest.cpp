#include <gtest/gtest.h>

#include <cstdint>
#include <numeric>
#include <vector>

#include "board/EmulatedChip.h"

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

  static Bytes Counting(unsigned int length, int first = 0) {
    Bytes bytes(length);
    std::iota(bytes.begin(), bytes.end(), static_cast<unsigned char>(first));
    return bytes;
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
  Write(Message(0x100, Counting(70)));
  Bytes page = Counting(64);
  std::iota(page.begin(), page.begin() + 6, static_cast<unsigned char>(64));
  EXPECT_EQ(ReadAt(0x100, 64), page);
  EXPECT_EQ(ReadAt(0x140, 1), Bytes{0xFF});
}

TEST_F(ChipModelTest, CounterFollowsTheLastByteAndWrapsAtTheEnd) {
  chip.Memory()[0] = 10;
  chip.Memory()[0x41] = 11;
  chip.Memory()[0x7FFF] = 12;
  EXPECT_EQ(Read(1), Bytes{10});
  Write(Message(0x3F, {1, 2}));  // wraps: the last byte lands at the page's start
  EXPECT_EQ(Read(0), Bytes{});
  EXPECT_EQ(Read(1), Bytes{0xFF});
  EXPECT_EQ(chip.Model().counter, 2U);
  Write(Message(0x40, {1}));
  EXPECT_EQ(Write({}), 0);
  EXPECT_EQ(Write({0x77}), 1) << "half an address is acknowledged and sets nothing";
  EXPECT_EQ(Read(1), Bytes{11});
  EXPECT_EQ(ReadAt(0x7FFF, 2), (Bytes{12, 2}));
  Write(Message(0x7FFF, {5}));
  EXPECT_EQ(Read(1), Bytes{2});
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
  EXPECT_EQ(chip.Model().busy, 2U);
  EXPECT_EQ(chip.Model().refused, 2U);
  EXPECT_EQ(chip.Model().messages, 5U);
  EXPECT_EQ(chip.Model().page_writes, 1U);
  EXPECT_EQ(chip.Model().bytes, 6U);
}

TEST_F(ChipModelTest, SmallChipTakesHighAddressBitsFromTheSlaveAddress) {
  EmulatedChip small(CHIP_CAT24C16, 0x50);
  EXPECT_EQ(small.Memory().size(), 2048U);
  EXPECT_TRUE(small.AnswersAt(0x57));
  EXPECT_FALSE(small.AnswersAt(0x58));
  EXPECT_FALSE(chip.AnswersAt(0x57));
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

TEST_F(ChipModelTest, KeepsWhatCameBeforeAShortEnd) {
  auto const& fault = chip.Add(CHIP_FAULT_SHORT, 1, 3, 3);
  EXPECT_EQ(Write(Message(0x10, {1, 2, 3})), 3);
  EXPECT_EQ(Read(5), (Bytes{0xFF, 0xFF, 0xFF}));
  EXPECT_EQ(Read(3).size(), 3U);
  EXPECT_EQ(fault.met, 2U) << "the last message was no longer than the limit";
  ExpectOnly(0x10, {1});
}

TEST_F(ChipModelTest, SilentFaultsAreAcknowledged) {
  Write(Message(0x10, Counting(8)));
  auto& model = chip.Model();

  chip.Add(CHIP_FAULT_FLIP, model.messages + 1, 1, 12);  // bit 4 of byte 1: 0x20 becomes 0x30
  EXPECT_EQ(Write(Message(0x20, {9, 9})), 4);
  chip.Add(CHIP_FAULT_FLIP, model.messages + 1, 1, 24);
  EXPECT_EQ(Write(Message(0x20, {8, 8})), 4);
  chip.Add(CHIP_FAULT_FLIP, model.messages + 2, 1, 7);
  EXPECT_EQ(ReadAt(0x10, 2), (Bytes{0x80, 1}));
  EXPECT_EQ(ReadAt(0x30, 2), (Bytes{9, 9}));
  EXPECT_EQ(ReadAt(0x20, 2), (Bytes{8, 9}));

  chip.ClearFaults();
  auto const& drop = chip.Add(CHIP_FAULT_DROP, model.messages + 1);
  auto const& stuck = chip.Add(CHIP_FAULT_STUCK, model.messages + 3);
  auto const& foreign = chip.Add(CHIP_FAULT_FOREIGN, model.messages + 4, 1, 0x8014);
  EXPECT_EQ(Write(Message(0x10, {7})), 3);
  EXPECT_GT(model.busy_until, now);
  EXPECT_EQ(ReadAt(0x11, 3), (Bytes{1, 1, 1}));
  EXPECT_EQ(Read(2), (Bytes{4, 5}));
  EXPECT_EQ(ReadAt(0x10, 1), Bytes{0});
  EXPECT_EQ(drop.met + stuck.met + foreign.met, 3U);
}

TEST_F(ChipModelTest, PowerCutsKeepTheStatedPartOfThePage) {
  struct Case {
    chip_fault_kind kind;
    std::uint64_t parameter;
    Bytes stored;  // from 0x42 on
  };
  std::vector<Case> const cases{
      {CHIP_FAULT_POWER_NOTHING, 0, {}},
      {CHIP_FAULT_POWER_FIRST, 3, {0, 1, 2}},
      {CHIP_FAULT_POWER_FIRST, 99, Counting(12)},
      // Groups 0 (0x42 and 0x43 of it were sent), 2 and 3 (0x4C and 0x4D of it).
      {CHIP_FAULT_POWER_GROUPS, 0b1101, {0, 1, 0xFF, 0xFF, 0xFF, 0xFF, 6, 7, 8, 9, 10, 11}},
  };
  for (auto const& [kind, parameter, stored] : cases) {
    EmulatedChip cut;
    cut.Add(kind, 2, 1, parameter);
    EXPECT_EQ(cut.Write(Message(0x100, {1}), now += Cycle), 3);
    EXPECT_EQ(cut.Write(Message(0x42, Counting(12)), now += Cycle), 14);
    EXPECT_EQ(cut.Write({}, now += 2 * Cycle), Refused) << "without power";
    Bytes expected(64, 0xFF);
    std::copy(stored.begin(), stored.end(), expected.begin() + 2);
    EXPECT_TRUE(std::equal(expected.begin(), expected.end(), cut.Memory().begin() + 0x40)) << kind;

    chip_model_power_on(&cut.Model());
    EXPECT_EQ(cut.Model().counter, 0U);
    EXPECT_EQ(cut.Write(Message(0, {1}), 0), 3) << "no write cycle survives the power";
    EXPECT_EQ(cut.Write({}, Cycle), 0) << "a single cut doesn't come again";
  }
}

}  // namespace
