// What the system tests on the emulated board cannot see of the front end.
#include "cli/FrontEnd.h"

#include <gtest/gtest.h>

#include <sstream>
#include <stdexcept>
#include <system_error>

#include "eeprom/ImageChecksum.h"
#include "support/Rig.h"

namespace {

const std::string Complete = "EEPROM read/write complete.\n";
const std::string Failed = "EEPROM read/write failed.\n";
const std::string NotAccessible = "EEPROM not accessible\n";

// Runs command lines on a board with an EEPROM at either location.
class FrontEndTest : public testing::Test, public Rig {
 protected:
  using Rig::Run;
  void Expect(std::vector<std::string> const& words, int code, std::string const& text) {
    const Outcome outcome = Run(words);
    EXPECT_EQ(outcome.exit, code) << testing::PrintToString(words);
    EXPECT_EQ(outcome.output, text) << testing::PrintToString(words);
    EXPECT_EQ(bus.use_count(), 1) << "the store is gone";
    EXPECT_FALSE(bus->IsLocked());
  }
};

TEST_F(FrontEndTest, RefusesWithTheUsageTextAndTouchesNothing) {
  const std::string refusal = Run(std::vector<std::string>()).output;
  const std::string usage = refusal.substr(refusal.find('\n') + 1);
  EXPECT_EQ(usage.size(), 903U);  // The text is settled to the byte.
  EXPECT_EQ(ImageChecksum({reinterpret_cast<unsigned char const*>(usage.data()), usage.size()}), 0x3BFE);
  Expect({"/V", "0x1", "file"}, 22, "FileType is incorrect. Exiting...\n\n" + usage);
  EXPECT_EQ(chip.Model().messages, 0U);
  Expect({"/BS", "abc", "Goldcrest"}, 22, "BaseboardRev# is incorrect. Exiting...\n\n" + usage);
  EXPECT_EQ(goldcrest.Model().page_writes, 0U);
  chip.Model().powered = 0;
  Expect({"/BS", "abc"}, 19, NotAccessible);
}

TEST_F(FrontEndTest, ChoosesTheBaseboardByItsExactName) {
  for (char const* const name : {"goldcrest", "Goldcrest ", "Baseboard-default", ""}) {
    Expect({"/BS", "5", name}, 0, Complete);
  }
  Expect({"/DS", "1", "Goldcrest"}, 0, Complete);
  EXPECT_EQ(goldcrest.Model().messages, 0U);
  Expect({"/bs", "6", "Goldcrest"}, 0, Complete);
  EXPECT_EQ(goldcrest.Memory()[1], 6);
  EXPECT_EQ(chip.Memory()[1], 5);
}

TEST_F(FrontEndTest, EndsInAnOrderlyWayWhateverIsThrown) {
  const auto throwAt = [this](unsigned int message, auto exception) {
    bus->onMessage = [message, exception, count = 0U]() mutable {
      if (++count == message) throw exception;
    };
  };
  throwAt(1, std::bad_alloc());
  Expect({"/E"}, 19, NotAccessible);
  throwAt(3, std::logic_error("while the table is read"));
  Expect({"/BS", "5"}, 19, NotAccessible);
  throwAt(2000, std::logic_error("in the operation"));
  Expect({"/RA", output}, 5, Failed);
  throwAt(2000, std::system_error());
  Expect({"/RA", output}, 5, Failed);
}

TEST_F(FrontEndTest, WorksWithoutABusArgumentsOrAnOutput) {
  std::ostream broken(nullptr);
  char const* const argv[] = {"Brindle", "/BS", "5"};
  EXPECT_EQ(FrontEnd(3, argv, broken, [this] { return bus; }), 0);
  EXPECT_EQ(chip.Memory()[1], 5);
  EXPECT_EQ(FrontEnd(2, argv, broken, nullptr), 22);
  EXPECT_EQ(FrontEnd(0, nullptr, broken, nullptr), 22);
  std::ostringstream text;
  EXPECT_EQ(FrontEnd(3, argv, text, nullptr), 19);
  EXPECT_EQ(text.str(), NotAccessible);
}

}  // namespace
