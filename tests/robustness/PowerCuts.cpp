// Cuts the power at every page write of each short command, in every form, and at some of the long ones. Then
// the chip comes back, its address counter lost.
//
// Every byte is as before or as the command makes it, so no file is lost but those that it writes or moves;
// every next command ends as the chip's contents demand; repeating the command completes it, also when the
// power goes once more meanwhile.
#include <gtest/gtest.h>

#include <algorithm>

#include "support/Catalogue.h"
#include "support/Judge.h"

namespace {

constexpr unsigned int Shares = 4;

bool IsLong(const Command& command) {
  constexpr std::size_t LongFile = 700;
  const bool isWhole = command.Is("/RA") || command.Is("/E") || command.Is("/WA");
  return isWhole || command.host.size() > LongFile;
}

// Counts the files that are neither the old nor the new one.
unsigned int Mixtures(const StoreModel& now, const StoreModel& before, const StoreModel& after) {
  unsigned int count = 0;
  for (unsigned int file = 0; file < Files; ++file) {
    const auto& content = now.contents[file];
    const bool isKnown = content == before.contents[file] || content == after.contents[file];
    if (content && !isKnown) ++count;
  }
  return count;
}

// One of the equal shares into which the commands on all EEPROMs are dealt.
class PowerCuts : public testing::TestWithParam<unsigned int> {
 protected:
  struct Cut {
    std::uint64_t page;  // number of the page write, from 1
    const chip_fault& form;
  };

  struct Run {
    const Command& command;
    const Bytes before;
    const StoreModel done;  // what it comes to with power
  };

  // Returns false when the run ends without reaching that page.
  bool CutAt(const Cut& cut, const Run& run) {
    rig.Load(run.before);
    const chip_fault& fault = rig.chip.Add(cut.form.kind, cut.page, 1, cut.form.parameter);
    EXPECT_TRUE(rig.Run(run.command).IsOrderly());
    const bool isMet = fault.met != 0;
    rig.PowerOn();
    EXPECT_TRUE(HoldsNothingElse(rig, run.before, run.done.memory));
    mixtures += Mixtures(StoreModel(rig.Memory()), StoreModel(run.before), run.done);
    return isMet;
  }

  // Returns what is wrong unless the command, repeated on what the chip holds, completes what it did on whole
  // contents.
  std::string Repeat(const Run& run) {
    const std::string complaint = RunAndJudge(rig, rig.Memory(), run.command);
    if (!complaint.empty()) return complaint;
    if (rig.Holds(run.done.memory)) return "";
    const StoreModel now(rig.Memory());
    const unsigned int file = run.command.file;
    const bool isStored = now.contents[file] == run.done.contents[file];
    return run.command.Is("/W") && isStored ? "" : "not complete";
  }

  // Returns what is wrong with the next commands on what a cut left.
  std::string CheckNext(const Bytes& torn, const Bytes& before) {
    constexpr unsigned long TurnOfLongOnes = 256;
    std::vector<Command> next;
    if (cuts % TurnOfLongOnes == 0) {
      next = {{.word = "/RA"}, {.word = "/E"}, {.word = "/WA", .host = before}};
    } else {
      next = {shortOnes[cuts % shortOnes.size()]};
    }
    next.push_back({.word = "/R", .file = static_cast<unsigned int>(cuts % Files)});
    for (const Command& command : next) {
      const std::string complaint = RunAndJudge(rig, torn, command);
      if (!complaint.empty()) return complaint + ": " + command.Name() + " afterwards";
    }
    return "";
  }

  // Returns what is wrong with repetitions of the command on what a cut left, one of which is cut again.
  std::string CheckRepetition(const Bytes& torn, const Run& run) {
    rig.Load(torn);
    const std::string complaint = Repeat(run);
    if (!complaint.empty()) return complaint;
    const std::uint64_t pages = rig.chip.Model().page_writes;
    if (pages == 0) return "nothing was repeated";
    const Run repetition = {.command = run.command, .before = torn, .done = StoreModel(rig.Memory())};
    const Cut again = {.page = 1 + cuts % pages, .form = forms[cuts % forms.size()]};
    if (!CutAt(again, repetition)) return "not cut again";
    return Repeat(run);
  }

  std::string CheckCut(const Cut& cut, const Run& run) {
    ++cuts;
    if (!CutAt(cut, run)) return "not cut";
    const Bytes torn = rig.Memory();
    const std::string complaint = CheckNext(torn, run.before);
    if (!complaint.empty()) return complaint;
    return CheckRepetition(torn, run);
  }

  // Tears the whole page under way. Returns what is wrong: nothing else may change, and any next command must
  // end as the contents demand. What was in the page is lost, in page 0 the table, so that repeating the
  // command does not bring it back.
  std::string CheckTornPage(const Cut& cut, const Run& run) {
    rig.Load(run.before);
    rig.chip.Add(cut.form.kind, cut.page, 1, cut.form.parameter);
    EXPECT_TRUE(rig.Run(run.command).IsOrderly());
    const std::size_t last = (rig.chip.Model().counter + ChipSize - 1) % ChipSize;  // byte that was sent
    rig.PowerOn();
    const Bytes torn = rig.Memory();
    constexpr std::size_t PageSize = 64;
    const std::size_t page = last / PageSize * PageSize;
    std::copy_n(&run.before[page], PageSize, &rig.chip.Memory()[page]);
    if (!HoldsNothingElse(rig, run.before, run.done.memory)) return "another page is torn";
    return CheckNext(torn, run.before);
  }

  // Of a command that writes many pages two forms are tried at each, in turn.
  bool Tries(std::uint64_t page, std::size_t form, std::uint64_t pages) const {
    constexpr std::uint64_t LongCommand = 40;
    const std::size_t first = page % forms.size();
    const std::size_t second = (page + forms.size() / 2) % forms.size();
    const bool isTurn = pages <= LongCommand || form == first || form == second;
    return isTurn && (page * forms.size() + form) % Catalogue::Stride == 0;
  }

  void CutEverywhere(const Catalogue::Contents& contents, const Command& command) {
    ASSERT_EQ(RunAndJudge(rig, contents.memory, command), "") << command.Name() << " on " << contents.name;
    const Run run = {.command = command, .before = contents.memory, .done = StoreModel(rig.Memory())};
    const std::uint64_t pages = rig.chip.Model().page_writes;
    for (std::uint64_t page = 1; page <= pages; ++page) {
      for (std::size_t i = 0; i < forms.size(); ++i) {
        if (!Tries(page, i, pages)) continue;
        const chip_fault& form = forms[i];
        ASSERT_EQ(CheckCut({page, form}, run), "")
            << command.Name() << " on " << contents.name << ", cut at page write " << page << ", form "
            << form.kind << "/" << form.parameter;
      }
      if (page % Catalogue::Stride != 0) continue;
      for (const chip_fault& form : Catalogue::TornPages()) {
        ASSERT_EQ(CheckTornPage({page, form}, run), "")
            << command.Name() << " on " << contents.name << ", page write " << page << ", torn as "
            << form.parameter;
      }
    }
  }

  Rig rig;
  const std::vector<chip_fault>& forms = Catalogue::PowerCuts();
  const std::vector<Command> shortOnes = [] {
    std::vector<Command> commands = Catalogue::All();
    std::erase_if(commands, IsLong);
    return commands;
  }();
  unsigned long cuts = 0;
  unsigned long mixtures = 0;
};

TEST_P(PowerCuts, CostNoMoreThanWhatIsWrittenAndAreRepairedByRepeating) {
  unsigned int tried = 0;
  for (const Catalogue::Contents& contents : Catalogue::Eeproms()) {
    for (const Command& command : Catalogue::Writing()) {
      const bool replacesAll = IsLong(command) && !command.Is("/W");
      const bool isTried = !IsLong(command) || (replacesAll && contents.name == "ThreeFiles");
      if (!isTried) continue;
      const bool isOurs = tried++ % Shares == GetParam();
      if (isOurs) CutEverywhere(contents, command);
      if (HasFatalFailure()) return;
    }
  }
  std::cout << cuts << " cuts, each followed by a second one; " << mixtures << " mixed files\n";
  constexpr unsigned long LeastCuts = 50'000;
  constexpr unsigned long CutsForAMixture = 500;  // whose checksum is right by chance
  constexpr unsigned long FewMixtures = 2;
  EXPECT_GE(cuts, Catalogue::PerStride(LeastCuts / Shares));
  EXPECT_LE(mixtures, FewMixtures + cuts / CutsForAMixture);
}

INSTANTIATE_TEST_SUITE_P(Shares, PowerCuts, testing::Range(0U, Shares));

}  // namespace
