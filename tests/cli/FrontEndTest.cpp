#include "cli/FrontEnd.h"

#include <gtest/gtest.h>

#include <functional>
#include <sstream>
#include <stdexcept>
#include <system_error>

#include "support/ModelBus.h"
#include "support/TempDirectory.h"

namespace {

const std::string Usage = R"(Reads or Writes file contents from/to EEPROM
See Using the Brindle in Confluence

Brindle /E
	 E - Erase all EEPROM

Brindle (/R | /W | /V) (1 | 2 | 3) /FileAbsolutePath
	 R - Read from EEPROM
	 W - Write to EEPROM
	 V - Verify input file content against written file content
	 1 - Peripheral configuration file

	 2 - Upgrade file

	 3 - Board configuration file

Brindle (/RA | /WA | /VA) /FileAbsolutePath
	 RA - Read All from EEPROM
	 WA - Write All to EEPROM
	 VA - Verify input file content against eeprom content

Brindle /BS (BaseboardRev#) <Goldcrest|Baseboard-default>-optional
	 BS - Set Baseboard Revision
	 BaseboardRev# - current baseboards can be found in confluence

Brindle /DS (1 | 0)
	 DS - set Developer Board Enable\Disable
	 1 - Enable Developer Board
	 0 - Disable Developer Board

Brindle /RBI /FileAbsolutePath
	 RBI - read board info
	 will read out first page of EEPROM data

)";

const std::string Complete = "EEPROM read/write complete.\n";
const std::string Failed = "EEPROM read/write failed.\n";
const std::string NotAccessible = "EEPROM not accessible\n";
const std::string BadFileType = "FileType is incorrect. Exiting...\n\n" + Usage;
const std::string BadRevision = "BaseboardRev# is incorrect. Exiting...\n\n" + Usage;

std::string Short(int expected, int received) {
  return "Missing required command line arguments, expected: " + std::to_string(expected) +
         ", received: " + std::to_string(received) + " or unknown command. Exiting...\n" + Usage;
}

// Runs command lines on a board with an EEPROM at either location.
class FrontEndTest : public testing::Test {
 protected:
  int Run(std::vector<std::string> const& words, std::ostream& output) {
    std::vector<char const*> argv{"Brindle"};
    for (std::string const& word : words) argv.push_back(word.c_str());
    return FrontEnd(static_cast<int>(argv.size()), argv.data(), output, [this] {
      ++busesAsked;
      auto bus = std::make_shared<ModelBus>(wire);
      lastBus = bus;
      return bus;
    });
  }
  void Expect(std::vector<std::string> const& words, int code, std::string const& text) {
    std::ostringstream output;
    EXPECT_EQ(Run(words, output), code) << testing::PrintToString(words);
    EXPECT_EQ(output.str(), text) << testing::PrintToString(words);
    EXPECT_TRUE(lastBus.expired()) << "the store is gone";
  }

  EmulatedChip chip;
  EmulatedChip goldcrest{CHIP_CAT24C256, 0x52};
  std::function<void()> onMessage = [] {};
  ModelWire wire{{&chip, &goldcrest}, [this] {
                   onMessage();
                   return VirtualClock::Now();
                 }};
  int busesAsked = 0;
  std::weak_ptr<I2CBus> lastBus;
  TempDirectory host;
};

TEST_F(FrontEndTest, RefusesArgumentsBeforeItAsksForTheBus) {
  const std::string missing = "Missing minimum required command line arguments. Exiting...\n" + Usage;
  Expect({}, 22, missing);
  std::ostringstream output;
  EXPECT_EQ(FrontEnd(0, nullptr, output, [] { return nullptr; }), 22);
  EXPECT_EQ(output.str(), missing);
  for (char const* const word : {"/", "/RR", "/R ", "-R", "/r\xE4"}) Expect({word}, 22, Short(2, 2));
  Expect({"/X", "1", "path", "more"}, 22, Short(2, 5));
  Expect({"/w", "7"}, 22, Short(4, 3));
  Expect({"/rbi"}, 22, Short(3, 2));
  Expect({"/V", "0x1", "file"}, 22, BadFileType);
  EXPECT_EQ(busesAsked, 0);
}

TEST_F(FrontEndTest, RefusesARevisionOnlyWhereThereIsAnEeprom) {
  Expect({"/BS", "abc", "Goldcrest"}, 22, BadRevision);
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

TEST_F(FrontEndTest, TellsThatNoEepromCanBeReached) {
  chip.Model().powered = 0;
  Expect({"/E"}, 19, NotAccessible);
  Expect({"/R", "7", "path"}, 22, BadFileType);
  std::ostringstream output;
  char const* const argv[] = {"Brindle", "/E"};
  EXPECT_EQ(FrontEnd(2, argv, output, [] { return nullptr; }), 19);
  EXPECT_EQ(
      FrontEnd(2, argv, output, []() -> std::shared_ptr<I2CBus> { throw std::runtime_error("no bus"); }), 19);
  EXPECT_EQ(FrontEnd(2, argv, output, []() -> std::shared_ptr<I2CBus> { throw 1; }), 19);
  EXPECT_EQ(FrontEnd(2, argv, output, nullptr), 19);
  EXPECT_EQ(output.str(), NotAccessible + NotAccessible + NotAccessible + NotAccessible);
}

TEST_F(FrontEndTest, EndsInAnOrderlyWayWhateverIsThrown) {
  const auto throwAt = [this](unsigned int message, auto exception) {
    onMessage = [message, exception, count = 0U]() mutable {
      if (++count == message) throw exception;
    };
  };
  throwAt(1, std::bad_alloc());
  Expect({"/E"}, 19, NotAccessible);
  throwAt(3, std::logic_error("while the table is read"));
  Expect({"/BS", "5"}, 19, NotAccessible);
  throwAt(2000, std::logic_error("in the operation"));
  Expect({"/RA", host / "image"}, 5, Failed);
  throwAt(2000, std::system_error());
  Expect({"/RA", host / "image"}, 5, Failed);
}

TEST_F(FrontEndTest, WorksOnWithoutAnOutput) {
  std::ostream broken(nullptr);
  EXPECT_EQ(Run({"/BS", "5"}, broken), 0);
  EXPECT_EQ(chip.Memory()[1], 5);
  EXPECT_EQ(Run({"/R", "1", host / "file"}, broken), 5);
  EXPECT_EQ(Run({}, broken), 22);
}

}  // namespace
