// Every command, on every EEPROM, with every message to the chip refused or short: once, as often as the bus
// tries, as often as the driver tries too, and for ever. In a command of many messages only some of them are
// tried, on some EEPROMs.
//
// The measure is the same command without the fault. Exit 0 means that it came to the same, but for a few
// exceptions, which must all come up. Any other exit leaves all bytes but those that the command writes as
// they were. What the bus repeats never shows, except that a read that fails after it moved the chip's
// address counter goes on after the lost bytes. Only /RA, /VA and /RBI may be deceived by that.
#include <gtest/gtest.h>

#include <algorithm>
#include <map>

#include "support/Catalogue.h"
#include "support/Judge.h"

namespace {

constexpr char AsPromised[] = "as promised";
constexpr char PagesNotErased[] = "/E is complete when any page was erased";
constexpr char ZerosInInformation[] = "/RBI shows what it could not read as 00";
constexpr char MovedFileLost[] = "a file that could not be moved drops out of the table";
constexpr char StartUpFailed[] = "a table that could not be read or extended at start-up is not as it was";
constexpr char Deceived[] = "/RA, /VA and /RBI do not notice a shifted read";

constexpr std::pair<chip_fault_kind, unsigned int> FaultKinds[] = {
    {CHIP_FAULT_REFUSE, 0}, {CHIP_FAULT_REFUSE_LATE, 0}, {CHIP_FAULT_SHORT, 1}, {CHIP_FAULT_SHORT, 13}};

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
  Case(Rig& theRig, const Bytes& contents, const Command& theCommand)
      : rig(theRig), old(contents), before(old), command(theCommand) {
    EXPECT_EQ(RunAndJudge(rig, old, command), "") << command.Name();
    for (const auto& message : rig.bus->messages) {
      isWrite.push_back(!message.isRead && message.bytes.size() > 2);
    }
    rig.Load(old);
    const Outcome outcome = rig.Run(command);
    measure = {outcome.exit, outcome.host, rig.Memory()};
  }

  [[nodiscard]] std::uint64_t Messages() const { return isWrite.size(); }

  [[nodiscard]] bool Tries(std::uint64_t index) const {
    constexpr std::uint64_t Short = 200;
    const bool isRareWrite = isWrite[index - 1] && !command.Is("/WA") && !command.Is("/E");
    return Messages() <= Short || index <= LastOfTable + 3 || isRareWrite || index % (Messages() / 50) == 0;
  }

  // Returns how the run ended: as without the fault, with an exception, or else what is wrong.
  [[nodiscard]] const char* Judge(const Outcome& outcome, const chip_fault& fault) const {
    if (!outcome.IsOrderly()) return "not orderly";
    if (rig.CameTo(measure, outcome)) return AsPromised;
    const bool ends = fault.count != ForEver;
    const bool isRefusal = fault.kind == CHIP_FAULT_REFUSE;
    if (isRefusal && ends && fault.count < BusAttempts) return "refusals show that the bus repeats";
    if (outcome.exit == 19) {
      const bool unanswered = fault.first <= LastOfProbe && (!ends || fault.count >= AllAttempts);
      return unanswered && rig.Holds(old) ? AsPromised : "said to be not accessible";
    }
    const bool lists = before.memory != old && fault.first <= LastOfListing;
    const bool strikesStart = lists || fault.first <= LastOfTable;
    if (strikesStart && KeepsToWhatItKnows(outcome)) return StartUpFailed;
    if (outcome.exit == 0) return JudgeSuccess(outcome, fault);
    if (isRefusal && ends && lists && fault.first > LastOfTable) return "a failure to list shows";
    if (outcome.host || command.Is("/RBI")) return "a failure that made a host file";
    return HoldsNothingElse(rig, old, measure.memory) ? AsPromised : "something else was changed";
  }

 private:
  // The table may count as empty then, or an unlisted peripheral configuration file as unlisted, whose end
  // nobody knows.
  [[nodiscard]] bool KeepsToWhatItKnows(const Outcome& outcome) const {
    if (command.Is("/W") && outcome.exit == 0) {
      const bool isReadBack = !command.host.empty() && command.host.size() != 0x4000 - 2;
      const auto stored = StoreModel(rig.Memory()).contents[command.file];
      return stored == command.host || (!stored && !isReadBack);
    }
    if (outcome.exit != measure.exit || outcome.host.has_value() != measure.host.has_value()) return false;
    const Bytes made = outcome.host.value_or(Bytes());
    const Bytes wanted = measure.host.value_or(Bytes());
    const bool isTrue = command.Is("/RA")    ? rig.Holds(made)  // with the table, as /RBI
                        : command.Is("/RBI") ? made.size() == wanted.size()
                                             : std::ranges::mismatch(made, wanted).in2 == wanted.end();
    return isTrue && HoldsNothingElse(rig, old, measure.memory);
  }

  [[nodiscard]] const char* JudgeSuccess(const Outcome& outcome, const chip_fault& fault) const {
    const bool isUnguarded = command.Is("/RA") || command.Is("/VA") || command.Is("/RBI");
    if (isUnguarded && (rig.Holds(measure.memory) || rig.Holds(old))) {
      const bool mayBeShifted =
          fault.kind != CHIP_FAULT_REFUSE && fault.count != ForEver && fault.count < BusAttempts;
      if (mayBeShifted) return Deceived;
      const auto isShown = [](auto shown, auto real) { return shown == real || shown == '0'; };
      if (command.Is("/RBI") && std::ranges::equal(*outcome.host, *measure.host, isShown)) {
        return ZerosInInformation;
      }
    }
    if (command.Is("/E") && HoldsNothingElse(rig, old, measure.memory) && !rig.Holds(old)) {
      return PagesNotErased;
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
    return MovedFileLost;
  }

  Rig& rig;
  const Bytes& old;
  const StoreModel before;
  const Command& command;
  Expectation measure;
  std::vector<bool> isWrite;  // by message
};

constexpr unsigned int Shares = 4;

// One of the equal shares into which the faults are dealt.
class FaultSweep : public testing::TestWithParam<unsigned int> {
 protected:
  void Sweep(const Catalogue::Contents& contents, const Command& command) {
    const Case judge(rig, contents.memory, command);
    const bool isShared = contents.name == "Erased" || contents.name == "ThreeFiles";
    const bool isListing =
        contents.name == "ListedAtStart" && (command.host.size() == 420 || command.file == 0);
    if (judge.Messages() > 400 && !isShared && !isListing) return;
    for (const auto& [kind, parameter] : FaultKinds) {
      for (const std::uint64_t repetitions : Repetitions) {
        for (std::uint64_t index = 1; index <= judge.Messages(); ++index) {
          if (!judge.Tries(index) || ++faults % (Shares * Catalogue::Stride) != GetParam()) continue;
          rig.Load(contents.memory);
          const chip_fault& fault = rig.chip.Add(kind, index, repetitions, parameter);
          const Outcome outcome = rig.Run(command);
          if (fault.met == 0) continue;
          ++runs;
          const std::string ending = judge.Judge(outcome, fault);
          ASSERT_EQ(endings.count(ending), 1U)
              << ending << ": " << command.Name() << " on " << contents.name << ", fault " << kind << ":"
              << index << ":" << repetitions << ":" << parameter << ", exit " << outcome.exit;
          ++endings[ending];
        }
      }
    }
  }

  Rig rig;
  unsigned long faults = 0;
  unsigned long runs = 0;
  std::map<std::string, unsigned long> endings = {{AsPromised, 0},         {PagesNotErased, 0},
                                                  {ZerosInInformation, 0}, {MovedFileLost, 0},
                                                  {StartUpFailed, 0},      {Deceived, 0}};
};

TEST_P(FaultSweep, CommandsDoAsPromisedOrFailAndSpareTheRest) {
  for (const Catalogue::Contents& contents : Catalogue::Eeproms()) {
    for (const Command& command : Catalogue::All()) {
      Sweep(contents, command);
      if (HasFatalFailure()) return;
    }
  }
  std::cout << runs << " runs with a fault\n";
  EXPECT_GE(runs, 200'000 / Shares / Catalogue::Stride);
  for (const auto& [ending, count] : endings) {
    std::cout << count << ": " << ending << '\n';
    EXPECT_TRUE(count > 0 || Catalogue::Stride > 1) << ending;
  }
}

INSTANTIATE_TEST_SUITE_P(Shares, FaultSweep, testing::Range(0U, Shares));

}  // namespace
