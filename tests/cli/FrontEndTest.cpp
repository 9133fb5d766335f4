#include "cli/FrontEnd.h"

#include <gtest/gtest.h>

#include <sstream>
#include <stdexcept>
#include <system_error>

#include "support/Rig.h"

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
const std::string BadRevision = "BaseboardRev# is incorrect. Exiting...\n\n" + Usage;

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

TEST_F(FrontEndTest, RefusesARevisionOnlyWhereThereIsAnEeprom) {
  Expect({"/BS", "abc", "Goldcrest"}, 22, BadRevision);
  EXPECT_EQ(goldcrest.Model().page_writes, 0U);
  Expect({"/V", "0x1", "file"}, 22, "FileType is incorrect. Exiting...\n\n" + Usage);
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

TEST_F(FrontEndTest, TellsThatThereIsNoBus) {
  std::ostringstream text;
  char const* const argv[] = {"Brindle", "/E"};
  EXPECT_EQ(FrontEnd(2, argv, text, nullptr), 19);
  EXPECT_EQ(FrontEnd(2, argv, text, []() -> std::shared_ptr<I2CBus> { throw 1; }), 19);
  EXPECT_EQ(text.str(), NotAccessible + NotAccessible);
  EXPECT_EQ(FrontEnd(0, nullptr, text, nullptr), 22);
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
  Expect({"/RA", host / "image"}, 5, Failed);
  throwAt(2000, std::system_error());
  Expect({"/RA", host / "image"}, 5, Failed);
}

TEST_F(FrontEndTest, WorksOnWithoutAnOutput) {
  std::ostream broken(nullptr);
  char const* const argv[] = {"Brindle", "/BS", "5"};
  EXPECT_EQ(FrontEnd(3, argv, broken, [this] { return bus; }), 0);
  EXPECT_EQ(chip.Memory()[1], 5);
  EXPECT_EQ(FrontEnd(2, argv, broken, [this] { return bus; }), 22);
}

}  // namespace
