// The power goes at every page write of every writing command: nothing of the page is stored, or its first n
// bytes, or some of its whole groups of four. Then the chip comes back, its address counter lost.
//
// What is held: every next command ends as the chip's contents demand, above all /R and /V never take a file
// whose checksum is wrong. Nothing is lost but the written file and those that the command moves. Repeating
// the command completes it, also when the power goes once more meanwhile. An image taken before brings
// everything back.
#include <gtest/gtest.h>

#include <algorithm>

#include "robustness/Bench.h"
#include "robustness/Boards.h"
#include "robustness/Figures.h"

namespace {

using Kind = Command::Kind;

struct Cut {
  chip_fault_kind kind;
  std::uint64_t parameter;
};

constexpr unsigned int Files = 3;
constexpr unsigned int PageSize = 64;
constexpr unsigned int Groups = PageSize / 4;

// The ways in which a page may be torn.
std::vector<Cut> AllCuts() {
  std::vector<Cut> cuts = {{CHIP_FAULT_POWER_NOTHING, 0}};
  for (unsigned int first = 1; first <= PageSize; ++first) cuts.push_back({CHIP_FAULT_POWER_FIRST, first});
  for (unsigned int group = 0; group < Groups; ++group) {
    cuts.push_back({CHIP_FAULT_POWER_GROUPS, 1U << group});
    cuts.push_back({CHIP_FAULT_POWER_GROUPS, 0xFFFFU ^ 1U << group});
  }
  for (const std::uint64_t mask : {0x5555U, 0xAAAAU, 0x00FFU, 0xFF00U, 0x0F0FU, 0xC3A5U}) {
    cuts.push_back({CHIP_FAULT_POWER_GROUPS, mask});
  }
  return cuts;
}

std::vector<Command> WritingCommands() {
  const auto write = [](unsigned int file, std::size_t length, unsigned int seed) {
    return Command{.kind = Kind::Write, .file = file, .host = Boards::Data(length, seed)};
  };
  return {write(0, 420, 4),
          write(0, 300, 5),
          write(1, 90, 6),
          write(1, 700, 7),
          write(2, 210, 8),
          write(2, 100, 9),
          {.kind = Kind::Revision, .number = 0x1234},
          {.kind = Kind::Developer, .number = 1},
          {.kind = Kind::Erase},
          {.kind = Kind::WriteAll, .host = Boards::All()[4].memory}};
}

class PowerCuts : public testing::TestWithParam<std::size_t> {
 protected:
  Boards::Board const& board = Boards::All()[GetParam()];
  const StoreModel before{board.memory};
  Bench bench;
  unsigned long cuts = 0;
  unsigned long secondCuts = 0;
  unsigned long coincidences = 0;
  unsigned long lost = 0;
  int complaints = 0;

  static std::string Describe(Command const& command, std::uint64_t page, Cut const& cut) {
    return command.Name() + " cut at page write " + std::to_string(page) + ", form " +
           std::to_string(cut.kind) + "/" + std::to_string(cut.parameter);
  }

  void Complain(std::string const& what) {
    ++complaints;
    ADD_FAILURE() << what << ", on " << board.name;
  }

  // Runs the command until the power goes; false when it ends without reaching that page.
  bool CutAt(Bytes const& contents, Command const& command, std::uint64_t page, Cut const& cut) {
    bench.Load(contents);
    chip_fault const& fault = bench.Emulated().Add(cut.kind, page, 1, cut.parameter);
    if (!bench.Run(command).IsOrderly()) Complain("not orderly: " + Describe(command, page, cut));
    const bool met = fault.met != 0;
    bench.PowerOn();
    return met;
  }

  // The files that `command` may cost when it stops half-way.
  [[nodiscard]] std::vector<bool> AtRisk(Command const& command, Expectation const& whole) const {
    std::vector<bool> risk(Files, command.kind == Kind::Erase || command.kind == Kind::WriteAll);
    if (command.kind == Kind::Write) risk[command.file] = true;
    for (const unsigned int file : whole.moved) risk[file] = true;
    return risk;
  }

  // Every file is what it was, or what the command makes of it, or is known to be lost.
  void CheckDamage(Command const& command, Expectation const& whole, Bytes const& torn,
                   std::string const& what) {
    const StoreModel now(torn);
    const StoreModel after(whole.memory);
    const std::vector<bool> risk = AtRisk(command, whole);
    for (unsigned int file = 0; file < Files; ++file) {
      const auto content = now.Content(file);
      if (content == before.Content(file) || content == after.Content(file)) continue;
      if (!risk[file]) Complain("file " + std::to_string(file + 1) + " was lost: " + what);
      ++(content ? coincidences : lost);
    }
    for (std::size_t i = 0; i < torn.size(); ++i) {
      const bool isOld = torn[i] == board.memory[i] || torn[i] == before.Memory()[i];
      if (isOld || whole.mayChange[i] != 0) continue;
      return Complain("other bytes were changed: " + what);
    }
  }

  // Any run on these contents gives what they demand.
  void CheckRun(Bytes const& contents, Command const& command, std::string const& what) {
    bench.Load(contents);
    const Expectation expected = StoreModel(contents).Expect(command);
    const Outcome outcome = bench.Run(command);
    if (outcome.IsOrderly() && outcome.exit == expected.exit && outcome.host == expected.host &&
        bench.Holds(expected.memory)) {
      return;
    }
    Complain(command.Name() + " then ends with " + std::to_string(outcome.exit) + ": " + what);
  }

  void CheckNextRuns(Bytes const& torn, Command const& command, std::string const& what) {
    for (unsigned int file = 0; file < Files; ++file) {
      CheckRun(torn, {.kind = Kind::Read, .file = file}, what);
      CheckRun(torn, {.kind = Kind::Verify, .file = file, .host = command.host}, what);
    }
    for (const Kind kind : {Kind::ReadAll, Kind::Information, Kind::Erase})
      CheckRun(torn, {.kind = kind}, what);
    CheckRun(torn, {.kind = Kind::Revision, .number = 7}, what);
    CheckRun(torn, {.kind = Kind::Developer, .number = 0}, what);
    CheckRun(torn, {.kind = Kind::VerifyAll, .host = board.memory}, what);
    CheckRun(torn, {.kind = Kind::WriteAll, .host = board.memory}, what);
    CheckRun(torn, {.kind = Kind::Write, .file = 1, .host = Boards::Data(64, 11)}, what);
  }

  // Repeating the command gives what it promised, and costs no file that it had not put at risk.
  void CheckRepeated(Bytes const& torn, Command const& command, Expectation const& whole,
                     std::string const& what) {
    bench.Load(torn);
    if (const Outcome outcome = bench.Run(command); outcome.exit != 0) {
      return Complain("repeating it ends with " + std::to_string(outcome.exit) + ": " + what);
    }
    if (command.kind != Kind::Write) {
      if (!bench.Holds(whole.memory)) Complain("repeating it does not complete it: " + what);
      return;
    }
    const StoreModel now(bench.Memory());
    const std::vector<bool> risk = AtRisk(command, whole);
    if (now.Content(command.file) != command.host) Complain("repeating it does not store the file: " + what);
    for (unsigned int file = 0; file < Files; ++file) {
      if (!risk[file] && before.Content(file) && now.Content(file) != before.Content(file)) {
        Complain("repeating it loses file " + std::to_string(file + 1) + ": " + what);
      }
    }
  }

  std::uint64_t PageWrites(Command const& command) {
    bench.Load(board.memory);
    bench.Run(command);
    return bench.Chip().page_writes;
  }

  void CheckCut(Command const& command, Expectation const& whole, std::uint64_t page, Cut const& cut) {
    ++cuts;
    const std::string what = Describe(command, page, cut);
    const Bytes torn = bench.Memory();
    CheckDamage(command, whole, torn, what);
    CheckNextRuns(torn, command, what);
    CheckRepeated(torn, command, whole, what);
    const Cut second = secondForms[cuts % secondForms.size()];
    const std::uint64_t pages = bench.Chip().page_writes;
    const std::uint64_t secondPage = pages == 0 ? 1 : 1 + cuts % pages;
    if (!CutAt(torn, command, secondPage, second)) return;
    ++secondCuts;
    const std::string both = what + ", then " + Describe(command, secondPage, second);
    const Bytes tornTwice = bench.Memory();
    CheckRepeated(tornTwice, command, whole, both);
  }

  const std::vector<Cut> secondForms = AllCuts();
};

TEST_P(PowerCuts, CostNoMoreThanWhatIsWrittenAndAreRepairedByRepeating) {
  const std::vector<Cut> forms = AllCuts();
  for (Command const& command : WritingCommands()) {
    const Expectation whole = before.Expect(command);
    if (whole.exit != 0) continue;
    // Every form at every page; of a command that writes many pages two forms at each, in turn.
    constexpr std::uint64_t LongCommand = 40;
    const bool isLong = PageWrites(command) > LongCommand;
    bool reached = true;
    for (std::uint64_t page = 1; reached; ++page) {
      for (std::size_t i = 0; i < forms.size() && reached; ++i) {
        if (isLong && i != page % forms.size() && i != (page + forms.size() / 2) % forms.size()) continue;
        if (Figures::Stride() > 1 && (page * forms.size() + i) % Figures::Stride() != 0) continue;
        reached = CutAt(board.memory, command, page, forms[i]);
        if (reached) CheckCut(command, whole, page, forms[i]);
        ASSERT_LT(complaints, 10);
      }
    }
  }
  Figures::Print("cuts", cuts, "on " + board.name + ", files lost: " + std::to_string(lost));
  Figures::Print("second cuts", secondCuts, "on " + board.name);
  Figures::Print("coincidences", coincidences,
                 "on " + board.name + ": stale or torn images that meet their checksum");
}

INSTANTIATE_TEST_SUITE_P(, PowerCuts, testing::Range(std::size_t{0}, Boards::All().size()),
                         [](auto const& board) { return Boards::All()[board.param].name; });

}  // namespace
