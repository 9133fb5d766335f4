// Faults that the chip acknowledges all the same: which command notices them, and which cannot. The answers
// are the table in docs/reliability.md, to which this test holds it.
#include <gmock/gmock.h>

#include <algorithm>

#include "support/Catalogue.h"
#include "support/Rig.h"

namespace {

// A flip of a bit in the first bytes of a message (of a write its address) and in a later one.
const std::tuple<const char*, chip_fault_kind, std::vector<unsigned int>> Faults[] = {
    {"a bit flipped on the wire", CHIP_FAULT_FLIP, {0, 13, 18, 90}},
    {"a write acknowledged and dropped", CHIP_FAULT_DROP, {0}},
    {"an address counter that stands still", CHIP_FAULT_STUCK, {0}},
    {"a foreign transfer in between", CHIP_FAULT_FOREIGN, {0x2345}},
    {"a read refused after the counter moved", CHIP_FAULT_REFUSE_LATE, {0}}};

// How the runs that came to something else than one without the fault ended.
const char* Answer(Rig& rig, const Command& command, chip_fault_kind kind,
                   const std::vector<unsigned int>& parameters) {
  const Bytes& contents = Catalogue::ThreeFiles().memory;
  const Expectation normal = StoreModel(contents).Expect(command).value();
  rig.Load(contents);
  rig.Run(command);
  const std::uint64_t messages = rig.chip.Model().messages;
  bool noticed = false, unnoticed = false;
  for (std::uint64_t message = 1; message <= messages; message += 1 + messages / 700) {
    for (const unsigned int parameter : parameters) {
      rig.Load(contents);
      rig.chip.Add(kind, message, 1, parameter);
      const Outcome outcome = rig.Run(command);
      if (rig.CameTo(normal, outcome)) continue;
      (outcome.exit == 0 ? unnoticed : noticed) = true;
    }
  }
  if (!unnoticed) return noticed ? "notices" : "harmless";
  return noticed ? "in part" : "cannot";
}

TEST(SilentFaults, AreNoticedAsTheDocumentSays) {
  std::vector<Command> commands;
  for (const char* const word : {"/R", "/V", "/W", "/RA", "/VA", "/WA", "/E", "/BS", "/DS", "/RBI"}) {
    commands.push_back(*std::ranges::find(Catalogue::All(), word, &Command::word));
  }
  commands[2] = Catalogue::Write(0, 420, 4);  // moves the other files
  Rig rig;
  const std::string document = ContentOf(RELIABILITY_DOCUMENT);
  std::string row = "| fault |";
  for (const Command& command : commands) row += " " + command.word + " |";
  EXPECT_THAT(document, testing::HasSubstr(row + "\n"));
  for (const auto& [name, kind, parameters] : Faults) {
    row = std::string("| ") + name + " |";
    for (const Command& command : commands)
      row += std::string(" ") + Answer(rig, command, kind, parameters) + " |";
    EXPECT_THAT(document, testing::HasSubstr(row + "\n"));
  }
}

}  // namespace
