// What changes make of an EEPROM's content.
#include <gtest/gtest.h>

#include <algorithm>
#include <stdexcept>

#include "content/Changes.h"
#include "support/Catalogue.h"
#include "support/Judge.h"

namespace {

using Catalogue::After, Catalogue::Contents, Catalogue::Write;

Bytes Stored(const std::vector<Command>& files) {
  Changes changes;
  for (const Command& write : files) changes.files.at(write.file) = write.host;
  return Apply(changes, ErasedImage()).content;
}

// The next start would end the file at its first erased byte, where another checksum happens to be right.
TEST(Changes, RefuseAFileThatWouldReadDifferently) {
  const auto isListedAtStart = [](const Contents& each) { return each.name == "ListedAtStart"; };
  const Bytes memory = std::ranges::find_if(Catalogue::Eeproms(), isListedAtStart)->memory;
  constexpr std::ptrdiff_t FirstData = 0x42;
  constexpr std::size_t LargestFirstFile = 16'382;
  const auto start = memory.begin() + FirstData;
  const Bytes block(start, start + static_cast<std::ptrdiff_t>(LargestFirstFile));
  EXPECT_THROW(Stored({{.word = "/W", .file = 0, .host = block}}), std::runtime_error);
  EXPECT_THROW(Stored({Write(0, LargestFirstFile)}), std::runtime_error) << "nothing of it would be read";
}

class Removal : public testing::TestWithParam<unsigned int> {
 protected:
  // Removes the file; returns what is wrong with the result, or an empty string.
  std::string RemoveAndJudge(const Contents& eeprom) {
    const unsigned int file = GetParam();
    const StoreModel before(eeprom.memory);
    Changes changes;
    changes.removed.at(file) = true;
    const Target target = Apply(changes, eeprom.memory);
    const StoreModel after(target.content);
    if (after.contents[file]) return "the file is still there";
    for (unsigned int other = 0; other < Files; ++other) {
      if (other == file) continue;
      if (after.contents[other] != before.contents[other]) return "another file is lost";
      if (after.table[other] != before.table[other]) return "another file has moved";
    }
    const PageSet changed = DifferingPages(eeprom.memory, target.content);
    if ((changed & ~target.pages).any()) return "a change is on none of the named pages";
    return JudgeCommands(target.content);
  }

  // Returns what is wrong with any command on the result.
  std::string JudgeCommands(const Bytes& content) {
    for (const Command& command : Catalogue::All()) {
      if (number++ % Catalogue::Stride != 0) continue;
      const std::string complaint = RunAndJudge(rig, content, command);
      if (!complaint.empty()) return command.Name() + ": " + complaint;
    }
    return "";
  }

  Rig rig;
  unsigned int number = 0;
};

TEST_P(Removal, LeavesAnEepromLikeAnyOther) {
  std::vector<Contents> eeproms = Catalogue::Eeproms();
  const std::vector<Command> commands = {Catalogue::WriteLargestFirstFile(), Write(2, 300, 5)};
  eeproms.push_back({"LargestFirstFile", After(commands)});
  for (const Contents& eeprom : eeproms) EXPECT_EQ(RemoveAndJudge(eeprom), "") << eeprom.name;
}

INSTANTIATE_TEST_SUITE_P(Files, Removal, testing::Range(0U, Files));

}  // namespace
