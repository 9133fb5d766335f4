// Every command, on every EEPROM, with every message to the chip refused or short: once, as often as the bus
// tries, as often as the driver tries too, and for ever. In a command of many messages only some of them are
// tried, on some EEPROMs.
//
// Each run is compared with the same command without the fault. On exit 0 both must agree, apart from the
// listed exceptions, each of which must occur. On any other exit only bytes that the command writes may
// differ. What the bus repeats never shows, except that a read that fails after it moved the chip's address
// counter goes on after the lost bytes. Only /RA, /VA and /RBI may be deceived by that.
#include <gtest/gtest.h>

#include <algorithm>

#include "support/Catalogue.h"
#include "support/Judge.h"

namespace {

constexpr char AsPromised[] = "as promised";
constexpr char NotKept[] = "the promise is not kept";

// The exceptions.
constexpr char PagesNotErased[] = "pages not erased";  // /E is complete when any page was erased
constexpr char ZerosInInformation[] = "zeros";         // /RBI shows what it could not read as 00
constexpr char MovedFileLost[] = "moved file lost";    // what could not be moved drops out of the table
constexpr char StartUpFailed[] = "start-up failed";    // the table could not be read or extended
constexpr char Deceived[] = "shifted read";            // /RA, /VA and /RBI do not notice

constexpr std::uint64_t ForEver = 0;
constexpr std::uint64_t BusAttempts = 3;
constexpr std::uint64_t AllAttempts = 6;  // of the bus and the driver
constexpr std::uint64_t Repetitions[] = {1, 2, BusAttempts, AllAttempts, ForEver};

struct FaultKind {
  chip_fault_kind kind;
  unsigned int parameter = 0;
};

constexpr FaultKind FaultKinds[] = {{.kind = CHIP_FAULT_REFUSE},
                                    {.kind = CHIP_FAULT_REFUSE_LATE},
                                    {.kind = CHIP_FAULT_SHORT, .parameter = 1},
                                    {.kind = CHIP_FAULT_SHORT, .parameter = 13}};

bool IsRefusal(const chip_fault& fault) {
  return fault.kind == CHIP_FAULT_REFUSE;
}

bool Ends(const chip_fault& fault) {
  return fault.count != ForEver;
}

// Returns whether an attempt of the bus comes after it.
bool IsOutlasted(const chip_fault& fault) {
  return Ends(fault) && fault.count < BusAttempts;
}

// Messages of start-up: the probe's address and byte, the table's address and bytes; where the peripheral
// configuration file is not listed, an address, the reads of its image, the write of the table, its address
// and bytes.
constexpr std::uint64_t LastOfProbe = 2;
constexpr std::uint64_t LastOfTable = 4;
constexpr std::uint64_t ReadsOfImage = ReservedEntry.size / 16;
constexpr std::uint64_t LastOfListing = LastOfTable + 1 + ReadsOfImage + 1;

// One command on one EEPROM, and what its runs may come to.
class Case {
 public:
  Case(Rig& theRig, const Bytes& contents, const Command& theCommand)
      : rig(theRig), old(contents), before(old), command(theCommand) {
    EXPECT_EQ(RunAndJudge(rig, old, command), "") << command.Name();
    for (const ChipBus::Message& message : rig.bus->messages) isWrite.push_back(message.CarriesData());
    rig.Load(old);
    const Outcome outcome = rig.Run(command);
    normal = {outcome.exit, outcome.host, rig.Memory()};
  }

  std::uint64_t Messages() const { return isWrite.size(); }

  bool IsLong() const {
    constexpr std::uint64_t ManyMessages = 400;
    return Messages() > ManyMessages;
  }

  // Returns whether the message of this number, from 1, is tried.
  bool Tries(std::uint64_t number) const {
    constexpr std::uint64_t ShortCommand = 200;
    constexpr std::uint64_t TriedOfALongOne = 50;
    constexpr std::uint64_t FirstOfOperation = LastOfTable + 3;
    if (Messages() <= ShortCommand || number <= FirstOfOperation) return true;
    const bool writesEveryPage = command.Is("/WA") || command.Is("/E");
    if (isWrite[number - 1] && !writesEveryPage) return true;
    return number % (Messages() / TriedOfALongOne) == 0;
  }

  // Returns how the run ended: as without the fault, with an exception, or else what is wrong.
  const char* Judge(const Outcome& outcome, const chip_fault& fault) const {
    if (!outcome.IsOrderly()) return "not orderly";
    if (rig.CameTo(normal, outcome)) return AsPromised;
    if (IsRefusal(fault) && IsOutlasted(fault)) return "refusals show that the bus repeats";
    if (outcome.exit == 19) return JudgeInaccessible(fault);
    const bool strikesStart = fault.first <= LastOfTable || StrikesListing(fault);
    if (strikesStart && KeepsToWhatItKnows(outcome)) return StartUpFailed;
    if (outcome.exit == 0) return JudgeSuccess(outcome, fault);
    return JudgeFailure(outcome, fault);
  }

 private:
  // Start-up reads and perhaps lists a peripheral configuration file after the table.
  bool StrikesListing(const chip_fault& fault) const {
    const bool lists = before.memory != old;
    return lists && fault.first <= LastOfListing;
  }

  // The table may count as empty then, or an unlisted peripheral configuration file as unlisted, whose end
  // nobody knows.
  bool KeepsToWhatItKnows(const Outcome& outcome) const {
    if (command.Is("/W") && outcome.exit == 0) return KeepsTheWrittenFile();
    if (outcome.exit != normal.exit) return false;
    if (outcome.host.has_value() != normal.host.has_value()) return false;
    return ShowsTheChip(outcome) && HoldsNothingElse(rig, old, normal.memory);
  }

  // An empty file and one that fills the reserved place are not read back.
  bool KeepsTheWrittenFile() const {
    const auto stored = StoreModel(rig.Memory()).contents[command.file];
    if (stored) return stored == command.host;
    const Bytes image = StoreModel::Image(command.host);
    return command.host.empty() || image.size() == ReservedEntry.size;
  }

  bool ShowsTheChip(const Outcome& outcome) const {
    const Bytes shown = outcome.host.value_or(Bytes());
    const Bytes wanted = normal.host.value_or(Bytes());
    if (command.Is("/RA")) return rig.Holds(shown);                // with the table
    if (command.Is("/RBI")) return shown.size() == wanted.size();  // which it shows
    return shown.size() >= wanted.size() && std::equal(wanted.begin(), wanted.end(), shown.begin());
  }

  const char* JudgeInaccessible(const chip_fault& fault) const {
    const bool isUnanswered = !Ends(fault) || fault.count >= AllAttempts;
    const bool strikesProbe = fault.first <= LastOfProbe;
    return isUnanswered && strikesProbe && rig.Holds(old) ? AsPromised : "said to be not accessible";
  }

  const char* JudgeFailure(const Outcome& outcome, const chip_fault& fault) const {
    const bool isAfterTable = fault.first > LastOfTable;
    if (IsRefusal(fault) && Ends(fault) && StrikesListing(fault) && isAfterTable) {
      return "a failure to list shows";
    }
    if (outcome.host || command.Is("/RBI")) return "a failure that made a host file";
    return HoldsNothingElse(rig, old, normal.memory) ? AsPromised : "something else was changed";
  }

  const char* JudgeSuccess(const Outcome& outcome, const chip_fault& fault) const {
    const bool isUnguarded = command.Is("/RA") || command.Is("/VA") || command.Is("/RBI");
    if (isUnguarded) return JudgeUnguarded(outcome, fault);
    if (command.Is("/E")) return JudgeErase();
    if (command.Is("/W") && !outcome.host) return JudgeMove();
    return NotKept;
  }

  const char* JudgeUnguarded(const Outcome& outcome, const chip_fault& fault) const {
    const bool isUnchanged = rig.Holds(normal.memory) || rig.Holds(old);
    if (!isUnchanged) return NotKept;
    const bool mayBeShifted = !IsRefusal(fault) && IsOutlasted(fault);
    if (mayBeShifted) return Deceived;
    const auto isShown = [](auto shown, auto real) { return shown == real || shown == '0'; };
    const bool hasOnlyZeros = command.Is("/RBI") && std::ranges::equal(*outcome.host, *normal.host, isShown);
    return hasOnlyZeros ? ZerosInInformation : NotKept;
  }

  const char* JudgeErase() const {
    const bool isInPart = HoldsNothingElse(rig, old, normal.memory) && !rig.Holds(old);
    return isInPart ? PagesNotErased : NotKept;
  }

  const char* JudgeMove() const {
    const StoreModel after(rig.Memory());
    const StoreModel whole(normal.memory);
    const unsigned int oldAddress = before.table[command.file].address;
    for (unsigned int file = 0; file < Files; ++file) {
      const bool isMoved = file > command.file || before.table[file].address > oldAddress;
      const bool hasDropped = isMoved && after.table[file] == Entry();
      const bool isWhole = after.contents[file] == whole.contents[file];
      if (!isWhole && !hasDropped) return "a file is lost";
    }
    return MovedFileLost;
  }

  Rig& rig;
  const Bytes& old;
  const StoreModel before;
  const Command& command;
  Expectation normal;         // what the command comes to without a fault
  std::vector<bool> isWrite;  // by message
};

constexpr unsigned int Shares = 4;

struct Ending {
  const char* name;
  unsigned long least;  // how often it occurs in a share at least
  unsigned long count = 0;
};

// One of the equal shares into which the faults are dealt.
class FaultSweep : public testing::TestWithParam<unsigned int> {
 protected:
  void Sweep(const Catalogue::Contents& contents, const Command& command) {
    const Case judge(rig, contents.memory, command);
    if (judge.IsLong() && !TakesLongOnes(contents, command)) return;
    for (const auto& [kind, parameter] : FaultKinds) {
      for (const std::uint64_t count : Repetitions) {
        for (std::uint64_t first = 1; first <= judge.Messages(); ++first) {
          if (!judge.Tries(first)) continue;
          const bool isTurn = ++faults % (Shares * Catalogue::Stride) == GetParam();
          if (!isTurn) continue;
          rig.Load(contents.memory);
          const chip_fault& fault = rig.chip.Add(kind, first, count, parameter);
          const Outcome outcome = rig.Run(command);
          if (fault.met == 0) continue;
          ASSERT_EQ(Count(judge.Judge(outcome, fault)), "")
              << command.Name() << " on " << contents.name << ", fault " << kind << ":" << first << ":"
              << count << ":" << parameter << ", exit " << outcome.exit;
        }
      }
    }
  }

  static bool TakesLongOnes(const Catalogue::Contents& contents, const Command& command) {
    if (contents.name == "Erased" || contents.name == "ThreeFiles") return true;
    return contents.name == "ListedAtStart" && command.file == 0;
  }

  // Returns what is wrong if this is none of the endings.
  std::string Count(const std::string& name) {
    const auto ending = std::ranges::find(endings, name, &Ending::name);
    if (ending == endings.end()) return name;
    ++ending->count;
    return "";
  }

  Rig rig;
  unsigned long faults = 0;
  std::vector<Ending> endings = {
      {.name = AsPromised, .least = 50'000},     {.name = PagesNotErased, .least = 10},
      {.name = ZerosInInformation, .least = 80}, {.name = MovedFileLost, .least = 80},
      {.name = StartUpFailed, .least = 1000},    {.name = Deceived, .least = 50}};
};

TEST_P(FaultSweep, CommandsDoAsPromisedOrFailAndSpareTheRest) {
  for (const Catalogue::Contents& contents : Catalogue::Eeproms()) {
    for (const Command& command : Catalogue::All()) {
      Sweep(contents, command);
      if (HasFatalFailure()) return;
    }
  }
  for (const Ending& ending : endings) {
    std::cout << ending.count << ": " << ending.name << '\n';
    EXPECT_GE(ending.count, Catalogue::PerStride(ending.least)) << ending.name;
  }
}

INSTANTIATE_TEST_SUITE_P(Shares, FaultSweep, testing::Range(0U, Shares));

}  // namespace
