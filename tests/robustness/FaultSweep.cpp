// Every command, on every EEPROM, with every message to the chip failing in every way: refused or short,
// once, as often as the bus tries, as often as the driver tries too, and for ever. In commands of many
// messages some of them are tried, and every write.
//
// The measure is the same command without the fault. Exit 0 means that it came to the same, but for what
// `Exceptions` lists, which are counted and must have come up. Any other exit must have its cause in the
// fault and leaves everything outside the bytes that the command writes as it was. A single refusal never
// shows.
//
// A read that fails after it moved the chip's address counter is repeated by the bus and goes on after the
// lost bytes. Such a read is called shifted: only /RA, /VA and /RBI may be deceived by it.
#include <gtest/gtest.h>

#include <algorithm>
#include <map>

#include "support/Catalogue.h"
#include "support/Judge.h"

namespace {

using Start = StoreModel::Start;

constexpr char PagesNotErased[] = "/E is complete when any page was erased";
constexpr char ZerosInInformation[] = "/RBI shows what it could not read as 00";
constexpr char MovedFileLost[] = "a file that could not be moved drops out of the table";
constexpr char TableTakenForEmpty[] = "a table that could not be read counts as empty";
constexpr char NotListed[] = "an unlisted peripheral configuration file is not recognised, or not listed";
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

bool IsOldOrNew(Bytes const& old, Bytes const& other, Bytes const& now) {
  for (std::size_t i = 0; i < now.size(); ++i) {
    if (now[i] != old[i] && now[i] != other[i]) return false;
  }
  return true;
}

// One command on one EEPROM, and what its runs may come to.
class Case {
 public:
  Case(Rig& theRig, Catalogue::Contents const& contents, Command const& theCommand)
      : rig(theRig), before(contents.memory), command(theCommand), written(ChipSize) {
    EXPECT_EQ(RunAndJudge(rig, contents.memory, command), "") << command.Name() << " on " << contents.name;
    rig.Load(contents.memory);
    measure = rig.Run(command);
    memory = rig.Memory();
    old = contents.memory;
    bool afterAddress = false;
    for (auto const& message : rig.bus->messages) {
      isShiftable.push_back(message.isRead && !afterAddress);
      isWrite.push_back(!message.isRead && message.bytes.size() > 2);
      afterAddress = !message.isRead;
      for (std::size_t i = 2; isWrite.back() && i < message.bytes.size(); ++i) {
        written[message.bytes[0] * 256U + message.bytes[1] + i - 2] = true;
      }
    }
    if (before.memory != old) starts = {Start::NotRecognised, Start::NotListed};
  }

  [[nodiscard]] bool Tries(std::uint64_t index) const {
    constexpr std::uint64_t Short = 200;
    static std::uint64_t candidates = 0;
    const bool isRareWrite =
        index <= isWrite.size() && isWrite[index - 1] && !command.Is("/WA") && !command.Is("/E");
    const bool isCandidate = isWrite.size() <= Short || index <= LastOfTable + 3 || isRareWrite ||
                             index % (isWrite.size() / 50) == 0;
    return isCandidate && ++candidates % Catalogue::Stride() == 0;
  }

  // Empty when the run ended as it may.
  [[nodiscard]] std::string Judge(Outcome const& outcome, chip_fault const& fault) const {
    if (!outcome.IsOrderly()) return "not orderly";
    const bool isLasting = fault.count == ForEver || fault.count >= AllAttempts;
    if (IsAsMeasured(outcome)) return "";
    if (fault.kind == CHIP_FAULT_REFUSE && fault.count == 1) return "a single refusal shows";
    if (outcome.exit == 19) {
      const bool unanswered = fault.first <= LastOfProbe && isLasting;
      return unanswered && rig.Holds(old) ? "" : "said to be not accessible";
    }
    for (const Start start : starts) {
      if (fault.first > LastOfListing || !IsAsExpected(outcome, start)) continue;
      ++exceptions[NotListed];
      return "";
    }
    const bool noTable = isLasting && fault.first > LastOfProbe && fault.first <= LastOfTable;
    if (noTable && outcome.exit == 0 && IsAsExpected(outcome, Start::NoTable)) {
      ++exceptions[TableTakenForEmpty];
      return "";
    }
    if (outcome.exit == 0) return JudgeSuccess(outcome, fault);
    return IsExplained(fault, noTable) ? JudgeFailure(outcome) : "a failure without a cause";
  }

  [[nodiscard]] bool Shifts(chip_fault const& fault) const {
    return fault.kind != CHIP_FAULT_REFUSE && fault.count != ForEver && fault.count < BusAttempts &&
           fault.first <= isShiftable.size() && isShiftable[fault.first - 1];
  }

  static inline std::map<std::string, unsigned long> exceptions;

 private:
  [[nodiscard]] bool IsAsMeasured(Outcome const& outcome) const {
    return outcome.exit == measure.exit && outcome.host == measure.host && rig.Holds(memory);
  }

  // As the model says of a run that starts so; the listing may have failed without a word.
  [[nodiscard]] bool IsAsExpected(Outcome const& outcome, Start start) const {
    const auto expected = StoreModel(old, start).Expect(command);
    return expected && outcome.exit == expected->exit && outcome.host == expected->host &&
           rig.Holds(expected->memory);
  }

  // Some transfer failed on each of its attempts, or delivered wrong bytes, or a write that was cut short
  // keeps the chip busy when it is repeated; and not only while start-up listed the peripheral configuration
  // file.
  [[nodiscard]] bool IsExplained(chip_fault const& fault, bool noTable) const {
    bool leavesBusy = false;
    for (std::uint64_t i = fault.first; i < fault.first + fault.count && i <= isWrite.size(); ++i) {
      leavesBusy = leavesBusy || (fault.kind == CHIP_FAULT_SHORT && isWrite[i - 1]);
    }
    const bool canFail = fault.count == ForEver || fault.count >= BusAttempts || Shifts(fault);
    // Cut short, the first write of the command itself leaves the chip busy.
    const bool reachesOn = fault.kind == CHIP_FAULT_SHORT && fault.first < LastOfListing;
    const bool isOverBefore = fault.count != ForEver && !starts.empty() && fault.first > LastOfTable &&
                              fault.first <= LastOfListing && !(reachesOn && fault.count > BusAttempts);
    return leavesBusy || (canFail && (noTable || !isOverBefore));
  }

  // Whether nothing but what the command writes was changed before `end`.
  [[nodiscard]] bool SparesTheRest(std::size_t end = ChipSize) const {
    for (std::size_t i = 0; i < end; ++i) {
      if (!written[i] && rig.chip.Memory()[i] != old[i]) return false;
    }
    return true;
  }

  [[nodiscard]] std::string JudgeSuccess(Outcome const& outcome, chip_fault const& fault) const {
    const Bytes now = rig.Memory();
    const bool isUnguarded = command.Is("/RA") || command.Is("/VA") || command.Is("/RBI");
    const bool isUntouched = now == memory || now == old;
    if (isUnguarded && Shifts(fault) && isUntouched) return Except(Deceived);
    if (command.Is("/RBI") && Informs(*outcome.host) && isUntouched) return Except(ZerosInInformation);
    if (command.Is("/E") && IsOldOrNew(old, memory, now)) {
      for (std::size_t page = 0; page < ChipSize; page += 64) {
        if (std::equal(memory.begin(), memory.begin() + 64, now.begin() + static_cast<long>(page))) {
          return Except(PagesNotErased);
        }
      }
    }
    // After a lost file the next one moves to where that would have gone.
    if (!command.Is("/W") || outcome.host || !SparesTheRest(0x40)) return "the promise is not kept";
    const StoreModel after(now);
    const StoreModel whole(memory);
    if (after.contents[command.file] != whole.contents[command.file]) return "the file was not stored";
    for (unsigned int file = 0; file < Files; ++file) {
      const bool hasDropped = written[whole.table[file].address % ChipSize] && after.table[file] == Entry();
      if (after.contents[file] != whole.contents[file] && !hasDropped) return "another file is lost";
    }
    return Except(MovedFileLost);
  }

  [[nodiscard]] std::string JudgeFailure(Outcome const& outcome) const {
    if (outcome.host || command.Is("/RBI")) return "a failure that made a host file";
    if (!SparesTheRest()) return "something else was changed";
    const Bytes now = rig.Memory();
    if (!command.Is("/W")) return IsOldOrNew(old, memory, now) ? "" : "bytes that are neither old nor new";
    const StoreModel after(now);
    const StoreModel whole(memory);
    for (unsigned int file = 0; file < Files; ++file) {
      const bool isAtRisk = file == command.file || whole.table[file] != before.table[file];
      if (!isAtRisk && after.contents[file] != before.contents[file]) return "another file is lost";
    }
    for (std::size_t i = 4; i < 16; ++i) {
      if (now[i] != old[i] && now[i] != before.memory[i] && now[i] != memory[i]) return "a wrong table";
    }
    return "";
  }

  static std::string Except(char const* exception) {
    ++exceptions[exception];
    return "";
  }

  // The true text up to a place, zeros from there on.
  [[nodiscard]] bool Informs(Bytes const& shown) const {
    Bytes const& real = *measure.host;
    if (shown.size() != real.size()) return false;
    const auto from = std::mismatch(shown.begin(), shown.end(), real.begin()).first;
    for (auto at = from; at != shown.end(); ++at) {
      const bool isDigit = real[static_cast<std::size_t>(at - shown.begin())] > ' ';
      if (isDigit ? *at != '0' : *at != real[static_cast<std::size_t>(at - shown.begin())]) return false;
    }
    return true;
  }

  Rig& rig;
  const StoreModel before;
  Command const& command;
  Bytes old;
  Outcome measure;
  Bytes memory;  // after the command without a fault
  std::vector<bool> written;
  std::vector<bool> isShiftable;  // by message: a read that carries on
  std::vector<bool> isWrite;
  std::vector<Start> starts;
};

class FaultSweep : public testing::Test {
 protected:
  FaultSweep() { Case::exceptions.clear(); }

  void Sweep(Rig& rig, Catalogue::Contents const& contents, Command const& command) {
    const Case judge(rig, contents, command);
    for (FaultKind const& kind : FaultKinds) {
      for (const std::uint64_t repetitions : Repetitions) {
        for (std::uint64_t index = 1; complaints < 10; ++index) {
          if (rig.chip.Model().messages + 1 < index && index > LastOfTable) break;
          if (!judge.Tries(index)) continue;
          rig.Load(contents.memory);
          chip_fault const& fault = rig.chip.Add(kind.kind, index, repetitions, kind.parameter);
          const Outcome outcome = rig.Run(command);
          if (fault.met == 0 && rig.chip.Model().messages < index) break;
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
  Report(15'000, {ZerosInInformation, Deceived, NotListed});
}

TEST_F(FaultSweep, WritingCommandsDoAsPromisedOrSpareTheRest) {
  SweepAll(Catalogue::Writing());
  Report(100'000, {PagesNotErased, MovedFileLost, TableTakenForEmpty, NotListed});
}

TEST_F(FaultSweep, HoldsAfterTheQueueAndWorkerToo) {
  Rig rig(ChipBus::Path::Queued);
  for (char const* const word : {"/R", "/RBI", "/BS", "/W"}) {
    for (auto const* const commands : {&Catalogue::Reading(), &Catalogue::Writing()}) {
      const auto command = std::find_if(commands->begin(), commands->end(), [word](Command const& each) {
        return each.Is(word) && each.host.size() <= 420;
      });
      if (command != commands->end()) Sweep(rig, Catalogue::ThreeFiles(), *command);
    }
  }
  Report(1'000, {ZerosInInformation});
}

}  // namespace
