// Every command, on every EEPROM, with every message to the chip failing in every way: refused or short,
// once, as often as the bus tries, as often as the driver tries too, and for ever. In commands of many
// messages some of them are tried, and every write.
//
// The measure is the same command without the fault. Exit 0 means that it came to the same, but for what
// `Exceptions` lists, which are counted and must have come up. Any other exit leaves all bytes but those that
// the command writes as they were. What the bus repeats never shows.
//
// A read that fails after it moved the chip's address counter is repeated by the bus and goes on after the
// lost bytes. Only /RA, /VA and /RBI may be deceived by such a shifted read.
#include <gtest/gtest.h>

#include <algorithm>
#include <map>

#include "support/Catalogue.h"
#include "support/Judge.h"

namespace {

constexpr char PagesNotErased[] = "/E is complete when any page was erased";
constexpr char ZerosInInformation[] = "/RBI shows what it could not read as 00";
constexpr char MovedFileLost[] = "a file that could not be moved drops out of the table";
constexpr char StartUpFailed[] = "a table that could not be read or extended at start-up is not as it was";
constexpr char Deceived[] = "/RA, /VA and /RBI do not notice a shifted read";

struct FaultKind {
  char const* name;
  chip_fault_kind kind;
  unsigned int parameter;
};

constexpr FaultKind FaultKinds[] = {{"refusal", CHIP_FAULT_REFUSE, 0},
                                    {"late refusal", CHIP_FAULT_REFUSE_LATE, 0},
                                    {"short, 1 byte", CHIP_FAULT_SHORT, 1},
                                    {"short, 13 bytes", CHIP_FAULT_SHORT, 13}};

constexpr std::uint64_t ForEver = 0;
constexpr std::uint64_t BusAttempts = 3;
constexpr std::uint64_t AllAttempts = 6;  // of the bus and the driver
constexpr std::uint64_t Repetitions[] = {1, 2, BusAttempts, AllAttempts, ForEver};

// Messages of start-up: the probe's address and byte, the table's address and bytes; where the peripheral
// configuration file is not listed, an address, 1024 reads, the write of the table, its address and bytes.
constexpr std::uint64_t LastOfProbe = 2;
constexpr std::uint64_t LastOfTable = 4;
constexpr std::uint64_t LastOfListing = LastOfTable + 1 + 1024 + 1;

// One command on one EEPROM, and what its runs may come to.
class Case {
 public:
  Case(Rig& theRig, Catalogue::Contents const& contents, Command const& theCommand)
      : rig(theRig), old(contents.memory), before(old), command(theCommand) {
    EXPECT_EQ(RunAndJudge(rig, old, command), "") << command.Name() << " on " << contents.name;
    for (auto const& message : rig.bus->messages) {
      isWrite.push_back(!message.isRead && message.bytes.size() > 2);
    }
    rig.Load(old);
    const Outcome outcome = rig.Run(command);
    measure = {outcome.exit, outcome.host, rig.Memory()};
  }

  [[nodiscard]] std::uint64_t Messages() const { return isWrite.size(); }

  [[nodiscard]] bool Tries(std::uint64_t index) const {
    constexpr std::uint64_t Short = 200;
    static std::uint64_t candidates = 0;
    const bool isRareWrite = isWrite[index - 1] && !command.Is("/WA") && !command.Is("/E");
    const bool isCandidate =
        Messages() <= Short || index <= LastOfTable + 3 || isRareWrite || index % (Messages() / 50) == 0;
    return isCandidate && ++candidates % Catalogue::Stride() == 0;
  }

  // Empty when the run ended as it may.
  [[nodiscard]] std::string Judge(Outcome const& outcome, chip_fault const& fault) const {
    if (!outcome.IsOrderly()) return "not orderly";
    if (rig.CameTo(measure, outcome)) return "";
    const bool ends = fault.count != ForEver;
    const bool isRefusal = fault.kind == CHIP_FAULT_REFUSE;
    if (isRefusal && ends && fault.count < BusAttempts) return "refusals show that the bus repeats";
    if (outcome.exit == 19) {
      const bool unanswered = fault.first <= LastOfProbe && (!ends || fault.count >= AllAttempts);
      return unanswered && rig.Holds(old) ? "" : "said to be not accessible";
    }
    const bool lists = before.memory != old && fault.first <= LastOfListing;
    const bool strikesStart = lists || fault.first <= LastOfTable;
    if (strikesStart && KeepsToWhatItKnows(outcome)) return Except(StartUpFailed);
    if (outcome.exit == 0) return JudgeSuccess(outcome, fault);
    if (isRefusal && ends && lists && fault.first > LastOfTable) return "a failure to list shows";
    if (outcome.host || command.Is("/RBI")) return "a failure that made a host file";
    return HoldsNothingElse(rig, old, measure.memory) ? "" : "something else was changed";
  }

  static inline std::map<std::string, unsigned long> exceptions;

 private:
  // The table may count as empty then, or an unlisted peripheral configuration file as unlisted, whose end
  // nobody knows.
  [[nodiscard]] bool KeepsToWhatItKnows(Outcome const& outcome) const {
    if (command.Is("/W") && outcome.exit == 0) {
      const bool isReadBack = !command.host.empty() && command.host.size() != 0x4000 - 2;
      const auto stored = StoreModel(rig.Memory()).contents[command.file];
      return stored == command.host || (!stored && !isReadBack);
    }
    if (outcome.exit != measure.exit || outcome.host.has_value() != measure.host.has_value()) return false;
    const Bytes made = outcome.host.value_or(Bytes());
    const Bytes wanted = measure.host.value_or(Bytes());
    const bool beginsAlike = std::ranges::mismatch(made, wanted).in2 == wanted.end();
    const bool isTrue = command.Is("/RA")    ? rig.Holds(made)  // with the table, as /RBI
                        : command.Is("/RBI") ? made.size() == wanted.size()
                                             : beginsAlike;
    return isTrue && HoldsNothingElse(rig, old, measure.memory);
  }

  [[nodiscard]] std::string JudgeSuccess(Outcome const& outcome, chip_fault const& fault) const {
    const bool isUnguarded = command.Is("/RA") || command.Is("/VA") || command.Is("/RBI");
    if (isUnguarded && (rig.Holds(measure.memory) || rig.Holds(old))) {
      const bool mayBeShifted =
          fault.kind != CHIP_FAULT_REFUSE && fault.count != ForEver && fault.count < BusAttempts;
      if (mayBeShifted) return Except(Deceived);
      const auto isShown = [](auto shown, auto real) { return shown == real || shown == '0'; };
      if (command.Is("/RBI") && std::ranges::equal(*outcome.host, *measure.host, isShown)) {
        return Except(ZerosInInformation);
      }
    }
    if (command.Is("/E") && HoldsNothingElse(rig, old, measure.memory) && !rig.Holds(old)) {
      return Except(PagesNotErased);
    }
    if (!command.Is("/W") || outcome.host) return "the promise is not kept";
    const StoreModel after(rig.Memory());
    const StoreModel whole(measure.memory);
    for (unsigned int file = 0; file < Files; ++file) {
      const bool hasMoved =
          file > command.file || before.table[file].address > before.table[command.file].address;
      const bool hasDropped = hasMoved && after.table[file] == Entry();
      if (after.contents[file] != whole.contents[file] && !hasDropped) return "a file is lost";
    }
    return Except(MovedFileLost);
  }

  static std::string Except(char const* exception) {
    ++exceptions[exception];
    return "";
  }

  Rig& rig;
  Bytes const& old;
  const StoreModel before;
  Command const& command;
  Expectation measure;
  std::vector<bool> isWrite;  // by message
};

class FaultSweep : public testing::Test {
 protected:
  FaultSweep() { Case::exceptions.clear(); }

  void Sweep(Rig& rig, Catalogue::Contents const& contents, Command const& command) {
    const Case judge(rig, contents, command);
    for (FaultKind const& kind : FaultKinds) {
      for (const std::uint64_t repetitions : Repetitions) {
        for (std::uint64_t index = 1; index <= judge.Messages() && complaints < 10; ++index) {
          if (!judge.Tries(index)) continue;
          rig.Load(contents.memory);
          chip_fault const& fault = rig.chip.Add(kind.kind, index, repetitions, kind.parameter);
          const Outcome outcome = rig.Run(command);
          if (fault.met == 0) continue;
          ++runs;
          const std::string complaint = judge.Judge(outcome, fault);
          if (complaint.empty()) continue;
          ++complaints;
          ADD_FAILURE() << complaint << ": " << command.Name() << " on " << contents.name << ", " << kind.name
                        << " at message " << index << ", " << repetitions << " times, exit " << outcome.exit;
        }
      }
    }
  }

  void SweepAll(std::vector<Command> const& commands) {
    Rig rig;
    for (Catalogue::Contents const& contents : Catalogue::Eeproms()) {
      for (Command const& command : commands) {
        rig.Load(contents.memory);
        rig.Run(command);
        const bool isLong = rig.chip.Model().messages > 400;
        const bool isShared = contents.name == "Erased" || contents.name == "ThreeFiles";
        const bool isListing =
            contents.name == "ListedAtStart" && (command.host.size() == 420 || command.file == 0);
        if (!isLong || isShared || isListing) Sweep(rig, contents, command);
      }
    }
  }

  void Report(unsigned long least, std::initializer_list<char const*> expected) {
    std::cout << runs << " runs with a fault\n";
    EXPECT_GE(runs, Catalogue::Stride() == 1 ? least : least * 3 / 4 / Catalogue::Stride());
    for (auto const& [exception, count] : Case::exceptions) std::cout << count << ": " << exception << '\n';
    if (Catalogue::Stride() > 1) return;
    for (char const* const exception : expected) EXPECT_GT(Case::exceptions[exception], 0U) << exception;
  }

  unsigned long runs = 0;
  int complaints = 0;
};

TEST_F(FaultSweep, ReadingCommandsTellTheTruthOrFail) {
  SweepAll(Catalogue::Reading());
  Report(15'000, {ZerosInInformation, Deceived, StartUpFailed});
}

TEST_F(FaultSweep, WritingCommandsDoAsPromisedOrSpareTheRest) {
  SweepAll(Catalogue::Writing());
  Report(100'000, {PagesNotErased, MovedFileLost, StartUpFailed});
}

TEST_F(FaultSweep, HoldsAfterTheQueueAndWorkerToo) {
  Rig rig(ChipBus::Path::Queued);
  for (Command const& command : {Command{.word = "/R"}, Command{.word = "/RBI"},
                                 Command{.word = "/BS", .value = "300"}, Catalogue::Write(0, 300)}) {
    Sweep(rig, Catalogue::ThreeFiles(), command);
  }
  Report(800, {ZerosInInformation});
}

}  // namespace
