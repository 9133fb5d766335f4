// The power goes in every way at every page write of every command that writes little, and in some ways at
// those of the others. Then the chip comes back, its address counter lost.
//
// Every byte is as before or as the command makes it, so no file is lost but those that it writes or moves;
// every next command ends as the chip's contents demand; repeating the command completes it, also when the
// power goes once more meanwhile.
#include <gtest/gtest.h>

#include "support/Catalogue.h"
#include "support/Judge.h"

namespace {

constexpr unsigned int Shares = 4;

// One of the equal shares into which the commands on all EEPROMs are dealt.
class PowerCuts : public testing::TestWithParam<unsigned int> {
 protected:
  // Cuts a run of `command` that would have come to `done`; false when it ends without reaching that page.
  bool CutAt(const Bytes& memory, const Command& command, std::uint64_t page, const chip_fault& cut,
             const Bytes& done) {
    rig.Load(memory);
    const chip_fault& fault = rig.chip.Add(cut.kind, page, 1, cut.parameter);
    EXPECT_TRUE(rig.Run(command).IsOrderly());
    const bool met = fault.met != 0;
    rig.PowerOn();
    EXPECT_TRUE(HoldsNothingElse(rig, memory, done));
    const auto contents = [](const Bytes& chip) { return StoreModel(chip).contents; };
    const auto now = contents(rig.Memory()), before = contents(memory), after = contents(done);
    for (unsigned int file = 0; file < Files; ++file) {
      mixtures += now[file] && now[file] != before[file] && now[file] != after[file] ? 1 : 0;
    }
    return met;
  }

  // Empty when the command, repeated on what the chip holds, completes what it did on whole contents.
  std::string Repeat(const Command& command, const StoreModel& whole) {
    const std::string complaint = RunAndJudge(rig, rig.Memory(), command);
    if (!complaint.empty()) return complaint;
    const unsigned int file = command.file;
    const bool isComplete = command.Is("/W") ? StoreModel(rig.Memory()).contents[file] == whole.contents[file]
                                             : rig.Holds(whole.memory);
    return isComplete ? "" : "not complete";
  }

  // What must hold once the power went during `command`.
  std::string Check(const Bytes& contents, const Command& command, const StoreModel& whole) {
    const Bytes torn = rig.Memory();
    std::vector<Command> next = {shortOnes[cuts % shortOnes.size()]};
    if (cuts % 256 == 0) next = {{.word = "/RA"}, {.word = "/E"}, {.word = "/WA", .host = contents}};
    next.push_back({.word = "/R", .file = static_cast<unsigned int>(cuts % Files)});
    for (const Command& each : next) {
      const std::string complaint = RunAndJudge(rig, torn, each);
      if (!complaint.empty()) return complaint + ": " + each.Name() + " afterwards";
    }
    rig.Load(torn);
    const std::string complaint = Repeat(command, whole);
    const std::uint64_t pages = rig.chip.Model().page_writes;
    if (!complaint.empty()) return complaint;
    if (pages == 0 || !CutAt(torn, command, 1 + cuts % pages, forms[cuts % forms.size()], rig.Memory())) {
      return "not cut again";
    }
    return Repeat(command, whole);
  }

  void CutEverywhere(const Catalogue::Contents& contents, const Command& command) {
    ASSERT_EQ(RunAndJudge(rig, contents.memory, command), "") << command.Name() << " on " << contents.name;
    const StoreModel whole(rig.Memory());
    const std::uint64_t pages = rig.chip.Model().page_writes;
    for (std::uint64_t page = 1; page <= pages; ++page) {
      for (std::size_t i = 0; i < forms.size(); ++i) {
        // Of a command that writes many pages two forms at each, in turn.
        constexpr std::uint64_t LongCommand = 40;
        const bool isTurn = i == page % forms.size() || i == (page + forms.size() / 2) % forms.size();
        if (pages > LongCommand && !isTurn) continue;
        if ((page * forms.size() + i) % Catalogue::Stride != 0) continue;
        ++cuts;
        ASSERT_TRUE(CutAt(contents.memory, command, page, forms[i], whole.memory));
        ASSERT_EQ(Check(contents.memory, command, whole), "")
            << command.Name() << " on " << contents.name << ", cut at page write " << page << ", form "
            << forms[i].kind << "/" << forms[i].parameter;
      }
    }
  }

  static bool IsLong(const Command& command) {
    return command.host.size() > 700 || command.Is("/RA") || command.Is("/E") || command.Is("/WA");
  }

  Rig rig;
  const std::vector<chip_fault>& forms = Catalogue::PowerCuts();
  const std::vector<Command> shortOnes = [] {  // commands of few messages
    std::vector<Command> commands = Catalogue::All();
    std::erase_if(commands, IsLong);
    return commands;
  }();
  unsigned long cuts = 0;
  unsigned long mixtures = 0;  // files that are neither the old nor the new one
};

TEST_P(PowerCuts, CostNoMoreThanWhatIsWrittenAndAreRepairedByRepeating) {
  unsigned int number = 0;
  for (const Catalogue::Contents& contents : Catalogue::Eeproms()) {
    for (const Command& command : Catalogue::Writing()) {
      const bool isTried = !IsLong(command) || (contents.name == "ThreeFiles" && !command.Is("/W"));
      if (isTried && number++ % Shares == GetParam()) CutEverywhere(contents, command);
      if (HasFatalFailure()) return;
    }
  }
  std::cout << cuts << " cuts, each followed by a second one; " << mixtures << " mixed files\n";
  EXPECT_GE(cuts, 50'000 / Shares / Catalogue::Stride);
  EXPECT_TRUE(1000 * mixtures < 2 * cuts || Catalogue::Stride > 1);
}

INSTANTIATE_TEST_SUITE_P(Shares, PowerCuts, testing::Range(0U, Shares));

}  // namespace
