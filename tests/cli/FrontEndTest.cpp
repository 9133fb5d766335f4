// What the system tests on the emulated board cannot see of the front end.
#include "cli/FrontEnd.h"

#include <gtest/gtest.h>

#include <csignal>
#include <stdexcept>

#include "support/Catalogue.h"
#include "support/Rig.h"

namespace {

// Returns whether a signal that asks the process to end would have to wait.
bool HoldsSignals() {
  sigset_t blocked;
  pthread_sigmask(SIG_BLOCK, nullptr, &blocked);
  return sigismember(&blocked, SIGTERM) == 1;
}

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

  // The last message of each command is sent while signals are held back, or not.
  void ExpectHeld(bool isHeld, const std::vector<Command>& commands) {
    for (const Command& command : commands) {
      Load(Catalogue::ThreeFiles().memory);
      bool wasHeld = !isHeld;
      bus->onMessage = [&wasHeld] { wasHeld = HoldsSignals(); };
      Run(command);
      EXPECT_EQ(wasHeld, isHeld) << command.Name();
    }
  }
};

TEST_F(FrontEndTest, RefusesWithTheUsageTextAndTouchesNothing) {
  const Outcome refusal = Run({"/V", "0x1", "file"});
  EXPECT_EQ(refusal.exit, 22);
  EXPECT_EQ(refusal.output, "FileType is incorrect. Exiting...\n\n" + ContentOf(USAGE_TEXT));
  EXPECT_EQ(chip.Model().messages, 0U);
  chip.Model().powered = 0;
  Expect(19, {"/BS", "abc"});  // The revision is read when the chip has answered.
}

TEST_F(FrontEndTest, ChoosesTheBaseboardByItsExactName) {
  for (const char* const name : {"goldcrest", "Goldcrest ", ""}) Expect(0, {"/BS", "5", name});
  Expect(0, {"/DS", "1", "Goldcrest"});
  EXPECT_EQ(goldcrest.Model().messages, 0U);
  Expect(0, {"/bs", "6", "Goldcrest"});
  EXPECT_EQ(goldcrest.Memory()[1], 6);
  EXPECT_EQ(chip.Memory()[1], 5);
}

TEST_F(FrontEndTest, HoldsSignalsBackWhereAnOperationWrites) {
  ExpectHeld(true, Catalogue::Writing());
  ExpectHeld(false, Catalogue::Reading());
  EXPECT_FALSE(HoldsSignals());
}

struct Throw {
  unsigned int message;
  int exit;
};

constexpr Throw Throws[] = {
    {.message = 1, .exit = 19},    // while the chip is probed
    {.message = 3, .exit = 19},    // while the table is read
    {.message = 2000, .exit = 5},  // in the operation
};

TEST_F(FrontEndTest, EndsInAnOrderlyWayWhereverTheBusThrows) {
  for (const Throw& row : Throws) {
    for (const bool isStandard : {true, false}) {
      unsigned int message = 0;
      bus->onMessage = [&] {
        if (++message != row.message) return;
        if (isStandard) throw std::logic_error("on the bus");
        throw row.message;
      };
      Expect(row.exit, {"/RA", output});
    }
  }
}

TEST_F(FrontEndTest, WorksWithoutABusArgumentsOrAnOutput) {
  std::ostream broken(nullptr);
  const char* const argv[] = {"Brindle", "/BS", "5"};
  const auto count = static_cast<int>(std::size(argv));
  EXPECT_EQ(FrontEnd(count, argv, broken, [this] { return bus; }), 0);
  EXPECT_EQ(chip.Memory()[1], 5);
  EXPECT_EQ(FrontEnd(0, nullptr, broken, nullptr), 22);
  EXPECT_EQ(FrontEnd(count, argv, broken, nullptr), 19);
  const auto throwing = []() -> std::shared_ptr<I2CBus> { throw 1; };
  EXPECT_EQ(FrontEnd(count, argv, broken, throwing), 19);
}

}  // namespace
