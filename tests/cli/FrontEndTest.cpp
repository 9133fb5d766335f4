// What the system tests on the emulated board cannot see of the front end.
#include "cli/FrontEnd.h"

#include <gtest/gtest.h>

#include <stdexcept>

#include "eeprom/ImageChecksum.h"
#include "support/Rig.h"

namespace {

// Runs command lines on a board with an EEPROM at either location.
class FrontEndTest : public testing::Test, public Rig {
 protected:
  using Rig::Run;
  void Expect(int code, const std::vector<std::string>& words) {
    SCOPED_TRACE(testing::PrintToString(words));
    const Outcome outcome = Run(words);
    EXPECT_EQ(outcome.exit, code);
    EXPECT_TRUE(outcome.IsOrderly()) << outcome.output;
    EXPECT_EQ(bus.use_count(), 1) << "the store is gone";
    EXPECT_FALSE(bus->IsLocked());
  }
};

TEST_F(FrontEndTest, RefusesWithTheUsageTextAndTouchesNothing) {
  const Outcome refusal = Run({"/V", "0x1", "file"});
  EXPECT_EQ(refusal.exit, 22);
  EXPECT_EQ(refusal.output.size(), 938U);  // The text is settled to the byte.
  const auto* const text = reinterpret_cast<const unsigned char*>(refusal.output.data());
  EXPECT_EQ(ImageChecksum({text, refusal.output.size()}), 0xCBEF);
  EXPECT_EQ(chip.Model().messages, 0U);
  chip.Model().powered = 0;
  Expect(19, {"/BS", "abc"});
}

TEST_F(FrontEndTest, ChoosesTheBaseboardByItsExactName) {
  for (const char* const name : {"goldcrest", "Goldcrest ", ""}) Expect(0, {"/BS", "5", name});
  Expect(0, {"/DS", "1", "Goldcrest"});
  EXPECT_EQ(goldcrest.Model().messages, 0U);
  Expect(0, {"/bs", "6", "Goldcrest"});
  EXPECT_EQ(goldcrest.Memory()[1], 6);
  EXPECT_EQ(chip.Memory()[1], 5);
}

TEST_F(FrontEndTest, EndsInAnOrderlyWayWhereverTheBusThrows) {
  // While the chip is probed, while the table is read, in the operation.
  for (const auto& [message, code] : {std::pair{1U, 19}, {3U, 19}, {2000U, 5}}) {
    bus->onMessage = [message = message, count = 0U]() mutable {
      if (++count == message) throw std::logic_error("on the bus");
    };
    Expect(code, {"/RA", output});
  }
}

TEST_F(FrontEndTest, WorksWithoutABusArgumentsOrAnOutput) {
  std::ostream broken(nullptr);
  const char* const argv[] = {"Brindle", "/BS", "5"};
  EXPECT_EQ(FrontEnd(3, argv, broken, [this] { return bus; }), 0);
  EXPECT_EQ(chip.Memory()[1], 5);
  EXPECT_EQ(FrontEnd(0, nullptr, broken, nullptr), 22);
  EXPECT_EQ(FrontEnd(3, argv, broken, nullptr), 19);
}

}  // namespace
