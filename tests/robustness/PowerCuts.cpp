// The power goes at every page write of every writing command: nothing of the page is stored, or its first n
// bytes, or some of its whole groups of four. Then the chip comes back, its address counter lost.
//
// Nothing is lost but the written file and those that the command moves; every next command ends as the
// chip's contents demand; repeating the command completes it, also when the power goes once more meanwhile.
#include <gtest/gtest.h>

#include "support/Catalogue.h"
#include "support/Judge.h"

namespace {

struct Cut {
  chip_fault_kind kind;
  std::uint64_t parameter;
};

// The ways in which a page may be torn.
std::vector<Cut> AllCuts() {
  constexpr unsigned int PageSize = 64;
  std::vector<Cut> cuts = {{CHIP_FAULT_POWER_NOTHING, 0}};
  for (unsigned int first = 1; first <= PageSize; ++first) cuts.push_back({CHIP_FAULT_POWER_FIRST, first});
  for (unsigned int group = 0; group < PageSize / 4; ++group) {
    cuts.push_back({CHIP_FAULT_POWER_GROUPS, 1U << group});
    cuts.push_back({CHIP_FAULT_POWER_GROUPS, 0xFFFFU ^ 1U << group});
  }
  for (const std::uint64_t mask : {0x5555U, 0xAAAAU, 0x00FFU, 0xFF00U, 0x0F0FU, 0xC3A5U}) {
    cuts.push_back({CHIP_FAULT_POWER_GROUPS, mask});
  }
  return cuts;
}

class PowerCuts : public testing::Test {
 protected:
  // Runs the command until the power goes; false when it ends without reaching that page.
  bool CutAt(Bytes const& contents, Command const& command, std::uint64_t page, Cut const& cut) {
    rig.Load(contents);
    chip_fault const& fault = rig.chip.Add(cut.kind, page, 1, cut.parameter);
    EXPECT_TRUE(rig.Run(command).IsOrderly());
    const bool met = fault.met != 0;
    rig.PowerOn();
    return met;
  }

  // What is wrong with the chip after a cut, or after the command was repeated. Before it is, a file at risk
  // may be the old one, the new one or none.
  [[nodiscard]] std::string CheckFiles(StoreModel const& before, Command const& command,
                                       StoreModel const& after, bool isRepeated) const {
    const StoreModel now(rig.Memory());
    for (unsigned int file = 0; file < Files; ++file) {
      const bool isWritten = command.Is("/W") && file == command.file;
      if (isRepeated && isWritten && now.contents[file] != after.contents[file])
        return "the file is not stored";
      const bool isAtRisk = isWritten || !command.Is("/W") || before.table[file] != after.table[file];
      const bool isOldOrNew =
          now.contents[file] == before.contents[file] || now.contents[file] == after.contents[file];
      if (!isAtRisk && !isOldOrNew) return "file " + std::to_string(file + 1) + " is lost";
    }
    if (isRepeated) return command.Is("/W") || rig.Holds(after.memory) ? "" : "it is not complete";
    return "";
  }

  std::string Repeat(StoreModel const& before, Command const& command, StoreModel const& after) {
    const std::string complaint = RunAndJudge(rig, rig.Memory(), command);
    return complaint.empty() ? CheckFiles(before, command, after, true) : complaint;
  }

  // Everything that is to hold once the power went at a page of `command`.
  std::string Check(Bytes const& contents, StoreModel const& before, Command const& command,
                    StoreModel const& after, std::vector<bool> const& written) {
    const Bytes torn = rig.Memory();
    for (std::size_t i = 0; i < ChipSize; ++i) {
      if (torn[i] != contents[i] && !written[i]) return "other bytes were changed";
    }
    std::string complaint = CheckFiles(before, command, after, false);
    std::vector<Command> next = {shortOnes[cuts % shortOnes.size()]};
    if (cuts % 256 == 0) next = {{.word = "/RA"}, {.word = "/E"}, {.word = "/WA", .host = contents}};
    next.push_back({.word = "/R", .file = static_cast<unsigned int>(cuts % Files)});
    for (std::size_t i = 0; i < next.size() && complaint.empty(); ++i) {
      complaint = RunAndJudge(rig, torn, next[i]);
      if (!complaint.empty()) complaint += " of " + next[i].Name() + " afterwards";
    }
    if (!complaint.empty()) return complaint;
    rig.Load(torn);
    complaint = Repeat(before, command, after);
    if (!complaint.empty()) return complaint + ", repeated";
    const std::uint64_t pages = rig.chip.Model().page_writes;
    if (!CutAt(torn, command, 1 + cuts % std::max<std::uint64_t>(pages, 1), forms[cuts % forms.size()]))
      return "";
    ++secondCuts;
    complaint = Repeat(before, command, after);
    return complaint.empty() ? "" : complaint + ", repeated after a second cut";
  }

  void CutEverywhere(Catalogue::Contents const& contents, Command const& command) {
    ASSERT_EQ(RunAndJudge(rig, contents.memory, command), "") << command.Name() << " on " << contents.name;
    const StoreModel before(contents.memory);
    const StoreModel after(rig.Memory());
    const std::uint64_t pages = rig.chip.Model().page_writes;
    std::vector<bool> written(ChipSize);
    for (auto const& message : rig.bus->messages) {
      for (std::size_t i = 2; !message.isRead && i < message.bytes.size(); ++i) {
        written[message.bytes[0] * 256U + message.bytes[1] + i - 2] = true;
      }
    }
    for (std::uint64_t page = 1; page <= pages; ++page) {
      for (std::size_t i = 0; i < forms.size(); ++i) {
        // Of a command that writes many pages two forms at each, in turn.
        constexpr std::uint64_t LongCommand = 40;
        const bool isTurn = i == page % forms.size() || i == (page + forms.size() / 2) % forms.size();
        if ((pages > LongCommand && !isTurn) || (page * forms.size() + i) % Catalogue::Stride() != 0)
          continue;
        ++cuts;
        ASSERT_TRUE(CutAt(contents.memory, command, page, forms[i]));
        ASSERT_EQ(Check(contents.memory, before, command, after, written), "")
            << command.Name() << " on " << contents.name << ", cut at page write " << page << ", form "
            << forms[i].kind << "/" << forms[i].parameter;
      }
    }
  }

  // Commands of few messages.
  static std::vector<Command> ShortOnes() {
    std::vector<Command> commands = Catalogue::Reading();
    commands.insert(commands.end(), Catalogue::Writing().begin(), Catalogue::Writing().end());
    std::erase_if(commands, [](Command const& each) {
      return each.host.size() > 700 || each.Is("/RA") || each.Is("/E") || each.Is("/WA");
    });
    return commands;
  }

  Rig rig;
  const std::vector<Cut> forms = AllCuts();
  const std::vector<Command> shortOnes = ShortOnes();
  unsigned long cuts = 0;
  unsigned long secondCuts = 0;
};

TEST_F(PowerCuts, CostNoMoreThanWhatIsWrittenAndAreRepairedByRepeating) {
  for (Catalogue::Contents const& contents : Catalogue::Eeproms()) {
    for (Command const& command : Catalogue::Writing()) {
      const bool isLong = command.host.size() > 700 || command.Is("/E") || command.Is("/WA");
      if (!isLong || (contents.name == "ThreeFiles" && !command.Is("/W"))) CutEverywhere(contents, command);
      if (HasFatalFailure()) return;
    }
  }
  std::cout << cuts << " cuts, " << secondCuts << " second cuts\n";
  EXPECT_GE(cuts, 50'000 / Catalogue::Stride());
  EXPECT_GE(secondCuts, 50'000 / Catalogue::Stride());
}

}  // namespace
