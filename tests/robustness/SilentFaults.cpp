// Faults that the chip acknowledges all the same: which command notices them, and which cannot. The answers
// are the table in docs/reliability.md, to which this test holds it.
#include <gmock/gmock.h>

#include "support/Catalogue.h"
#include "support/Rig.h"

namespace {

struct SilentFault {
  const char* name;
  chip_fault_kind kind;
  std::vector<unsigned int> parameters = {0};
};

const SilentFault Faults[] = {
    {
        .name = "a bit flipped on the wire",
        .kind = CHIP_FAULT_FLIP,
        .parameters = {0, 13, 18, 90},  // in the first bytes of a message, of a write its address, and later
    },
    {.name = "a write acknowledged and dropped", .kind = CHIP_FAULT_DROP},
    {.name = "an address counter that stands still", .kind = CHIP_FAULT_STUCK},
    {.name = "a foreign transfer in between", .kind = CHIP_FAULT_FOREIGN, .parameters = {0x2345}},
    {.name = "a read refused after the counter moved", .kind = CHIP_FAULT_REFUSE_LATE}};

// In the order of the table's columns.
const std::vector<Command>& Commands() {
  static const Bytes image = Catalogue::ThreeFiles().memory;
  static const std::vector<Command> commands = {
      {.word = "/R", .file = 0},
      {.word = "/V", .file = 0, .host = StoreModel(image).contents[0].value()},
      Catalogue::Write(0, 420, 4),  // moves the other files
      {.word = "/RA"},
      {.word = "/VA", .host = image},
      {.word = "/WA", .host = Catalogue::Data(700, 3)},
      {.word = "/E"},
      {.word = "/BS", .value = "300"},
      {.word = "/DS", .value = "1"},
      {.word = "/RBI"}};
  return commands;
}

class SilentFaults : public testing::Test {
 protected:
  // Says how the runs ended that came to something else than the one without the fault.
  std::string Answer(const Command& command, const SilentFault& fault) {
    constexpr std::uint64_t TriedMessages = 700;
    const Expectation normal = StoreModel(contents).Expect(command).value();
    rig.Load(contents);
    rig.Run(command);
    const std::uint64_t messages = rig.chip.Model().messages;
    const std::uint64_t step = 1 + messages / TriedMessages;
    bool isNoticed = false;
    bool isUnnoticed = false;
    for (std::uint64_t message = 1; message <= messages; message += step) {
      for (const unsigned int parameter : fault.parameters) {
        rig.Load(contents);
        rig.chip.Add(fault.kind, message, 1, parameter);
        const Outcome outcome = rig.Run(command);
        if (rig.CameTo(normal, outcome)) continue;
        isNoticed = isNoticed || outcome.exit != 0;
        isUnnoticed = isUnnoticed || outcome.exit == 0;
      }
    }
    if (isNoticed && isUnnoticed) return "in part";
    if (isNoticed) return "notices";
    return isUnnoticed ? "cannot" : "harmless";
  }

  const Bytes& contents = Catalogue::ThreeFiles().memory;
  Rig rig;
};

TEST_F(SilentFaults, AreNoticedAsTheDocumentSays) {
  const std::string document = ContentOf(RELIABILITY_DOCUMENT);
  std::string row = "| fault |";
  for (const Command& command : Commands()) row += " " + command.word + " |";
  EXPECT_THAT(document, testing::HasSubstr(row + "\n"));
  for (const SilentFault& fault : Faults) {
    row = std::string("| ") + fault.name + " |";
    for (const Command& command : Commands()) row += " " + Answer(command, fault) + " |";
    EXPECT_THAT(document, testing::HasSubstr(row + "\n"));
  }
}

}  // namespace
