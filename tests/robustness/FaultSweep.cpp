// Every command, on every board, with every message to the chip failing in every way: refused or short, once,
// as often as the bus tries, as often as the driver tries too, and for ever.
//
// What is held: exit 0 means that the chip, or the host file, holds what the command promises; any other exit
// leaves everything outside the planned bytes as it was. A single refusal never shows at all. What the tool
// makes of some failures on purpose is listed in `Exception`, counted, and must have come up.
//
// A read that fails after it moved the chip's address counter is repeated by the bus and goes on behind the
// lost bytes; what then is noticed is the matter of the table of silent faults. Here such runs count as
// `shifted`, and only /RA, /VA and /RBI may be deceived by them.
#include <gtest/gtest.h>

#include <algorithm>
#include <map>

#include "robustness/Bench.h"
#include "robustness/Boards.h"
#include "robustness/Figures.h"

namespace {

using Kind = Command::Kind;
using Start = StoreModel::Start;

enum class Exception {
  PagesNotErased,       // /E is complete when any page was erased
  ZerosInInformation,   // /RBI shows what it could not read as 00
  MovedFileLost,        // a file that could not be moved drops out of the table, the command succeeds
  TableTakenForEmpty,   // a table that could not be read at start counts as empty
  PeripheralNotListed,  // an unlisted peripheral configuration file that could not be read is not listed
  Deceived              // a shifted read of bytes that carry no checksum
};

constexpr char const* ExceptionNames[] = {
    "pages not erased",      "zeros in the information",   "moved file lost",
    "table taken for empty", "peripheral file not listed", "deceived"};

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
constexpr std::uint64_t Repetitions[] = {1, 2, 3, 6, ForEver};

// Messages of start-up: the probe's address and byte, the table's address and bytes.
constexpr std::uint64_t LastOfProbe = 2;
constexpr std::uint64_t LastOfTable = 4;
// An unlisted peripheral configuration file: an address, 1024 reads, the table's new content.
constexpr std::uint64_t LastOfListing = LastOfTable + 1 + 1024 + 1;

constexpr std::size_t LengthOfGrown = 420;
constexpr std::size_t LengthOfShrunk = 90;

std::vector<Command> CommandsOf(Kind kind) {
  const auto write = [](unsigned int file, std::size_t length, unsigned int seed) {
    return Command{.kind = Kind::Write, .file = file, .host = Boards::Data(length, seed)};
  };
  switch (kind) {
    case Kind::Read:
      return {{.kind = kind, .file = 0}, {.kind = kind, .file = 2}};
    case Kind::Verify:
      return {{.kind = kind, .file = 0, .host = Boards::Data(300, 1)},
              {.kind = kind, .file = 1, .host = Boards::Data(130, 2)}};
    case Kind::Write:
      return {write(0, LengthOfGrown, 4), write(0, 300, 5), write(1, LengthOfShrunk, 6), write(1, 2000, 7),
              write(2, 210, 8),           write(1, 0, 0),   write(0, 16'382, 9)};
    case Kind::WriteAll:
      return {{.kind = kind, .host = Boards::Data(ChipSize, 10)}};
    case Kind::VerifyAll:
      return {{.kind = kind, .host = Boards::All()[3].memory}};
    case Kind::Revision:
      return {{.kind = kind, .number = 300}};
    case Kind::Developer:
      return {{.kind = kind, .number = 1}};
    default:
      return {{.kind = kind}};
  }
}

bool SameOutside(Bytes const& a, std::span<unsigned char const> b, Bytes const& mask) {
  unsigned int difference = 0;
  for (std::size_t i = 0; i < a.size(); ++i) difference |= (a[i] ^ b[i]) & ~mask[i] & 0xFFU;
  return difference == 0;
}

// One command on one board, and what its runs may end with.
class Case {
 public:
  Case(Boards::Board const& startBoard, Command const& runCommand) : board(startBoard), command(runCommand) {
    Expect(Start::Normal);
    if (StoreModel(board.memory).Memory() != board.memory) {
      Expect(Start::NotRecognised);
      Expect(Start::NotListed);
    }
    Expect(Start::NoTable);
  }

  // Finds which messages carry a read on.
  void Rehearse(Bench& bench) {
    bench.Load(board.memory);
    bench.Wire().Messages().clear();
    bench.Wire().Record(true);
    rehearsed = bench.Run(command);
    bench.Wire().Record(false);
    bool afterAddress = false;
    for (ModelWire::Message const& message : bench.Wire().Messages()) {
      continued.push_back(message.isRead && !afterAddress);
      afterAddress = !message.isRead;
    }
    EXPECT_EQ(rehearsed.exit, variants.front().expected.exit);
    EXPECT_TRUE(bench.Holds(variants.front().expected.memory));
    EXPECT_EQ(bench.Chip().busy, 0U);
  }

  // Empty when the run ended as it may.
  std::string Judge(Bench const& bench, Outcome const& outcome, chip_fault const& fault) {
    if (!outcome.IsOrderly()) return "not orderly";
    if (fault.kind == CHIP_FAULT_REFUSE && fault.count == 1) {
      Expectation const& normal = variants.front().expected;
      const bool unseen =
          outcome.exit == normal.exit && outcome.host == normal.host && bench.Holds(normal.memory);
      return unseen ? "" : "a single refusal shows";
    }
    if (outcome.exit == 19) {
      const bool unanswered = fault.first <= LastOfProbe && (fault.count == ForEver || fault.count >= 6);
      return unanswered && bench.Holds(board.memory) ? "" : "said to be not accessible";
    }
    for (Variant const& variant : variants) {
      if (!CanStart(variant.start, fault)) continue;
      if (!(outcome.exit == 0 ? Keeps(variant, bench, outcome) : Spares(variant, bench, outcome))) continue;
      if (variant.start == Start::NoTable && outcome.exit == 0 && command.Writes()) {
        ++exceptions[Exception::TableTakenForEmpty];
      }
      if (variant.start == Start::NotRecognised) ++exceptions[Exception::PeripheralNotListed];
      return "";
    }
    const bool unguarded =
        command.kind == Kind::ReadAll || command.kind == Kind::VerifyAll || command.kind == Kind::Information;
    if (Shifts(fault) && unguarded && outcome.exit == 0) {
      ++exceptions[Exception::Deceived];
      return "";
    }
    return outcome.exit == 0 ? "the promise is not kept" : "something else was changed";
  }

  [[nodiscard]] bool Shifts(chip_fault const& fault) const {
    return fault.kind != CHIP_FAULT_REFUSE && (fault.count == 1 || fault.count == 2) &&
           continued[fault.first - 1];
  }

  static inline std::map<Exception, unsigned long> exceptions;

 private:
  struct Variant {
    Start start;
    unsigned int lost;
    Bytes before;
    Expectation expected;
  };

  void Expect(Start start) {
    const StoreModel model(board.memory, start);
    variants.push_back({start, 0, model.Memory(), model.Expect(command)});
    const std::vector<unsigned int> moved = variants.back().expected.moved;
    unsigned int all = 0;
    for (const unsigned int file : moved) all |= 1U << file;
    for (unsigned int lost = all; lost != 0; lost = (lost - 1) & all) {
      variants.push_back({start, lost, model.Memory(), model.Expect(command, lost)});
    }
  }

  static bool CanStart(Start start, chip_fault const& fault) {
    switch (start) {
      case Start::Normal:
        return true;
      case Start::NoTable:
        return fault.first > LastOfProbe && fault.first <= LastOfTable &&
               (fault.count == ForEver || fault.count >= 6);
      default:
        return fault.first <= LastOfListing;
    }
  }

  // Exit 0.
  bool Keeps(Variant const& variant, Bench const& bench, Outcome const& outcome) const {
    Expectation const& expected = variant.expected;
    if (expected.exit != 0) return false;
    if (command.kind == Kind::Erase) return ErasedInPart(variant, bench);
    if (command.kind == Kind::Information) return Informs(expected, outcome) && Untouched(variant, bench);
    if (outcome.host != expected.host) return false;
    if (variant.lost != 0) {
      if (!SameOutside(expected.memory, bench.Span(), expected.unknown)) return false;
      ++exceptions[Exception::MovedFileLost];
      return true;
    }
    return command.Writes() ? bench.Holds(expected.memory) : Untouched(variant, bench);
  }

  // The listing of a peripheral configuration file may have failed without a word.
  bool Untouched(Variant const& variant, Bench const& bench) const {
    return bench.Holds(variant.before) || bench.Holds(board.memory);
  }

  // Any other exit.
  bool Spares(Variant const& variant, Bench const& bench, Outcome const& outcome) const {
    if (outcome.host || command.kind == Kind::Information) return false;
    Expectation const& expected = variant.expected;
    if (!command.Writes()) return Untouched(variant, bench);
    const auto now = bench.Span();
    if (!SameOutside(variant.before, now, expected.mayChange)) return false;
    return command.kind == Kind::Write ? OldOrNew(variant, now, 4, 16) : OldOrNew(variant, now, 0, ChipSize);
  }

  [[nodiscard]] bool OldOrNew(Variant const& variant, std::span<unsigned char const> now, std::size_t from,
                              std::size_t to) const {
    for (std::size_t i = from; i < to; ++i) {
      const bool isOld = now[i] == board.memory[i] || now[i] == variant.before[i];
      if (!isOld && now[i] != variant.expected.memory[i]) return false;
    }
    return true;
  }

  bool ErasedInPart(Variant const& variant, Bench const& bench) const {
    const auto now = bench.Span();
    if (!OldOrNew(variant, now, 0, ChipSize)) return false;
    Bytes const& erased = variant.expected.memory;
    bool anyPage = false;
    for (std::size_t page = 0; page < ChipSize; page += 64) {
      anyPage = anyPage || std::equal(erased.begin(), erased.begin() + 64, now.subspan(page).begin());
    }
    if (!bench.Holds(erased)) ++exceptions[Exception::PagesNotErased];
    return anyPage;
  }

  // The true bytes up to a place, zeros from there on.
  static bool Informs(Expectation const& expected, Outcome const& outcome) {
    if (outcome.host == expected.host) return true;
    if (!outcome.host || outcome.host->size() != expected.host->size()) return false;
    const auto isDigit = [](unsigned char character) { return character > ' '; };
    bool zeros = false;
    for (std::size_t i = 0; i < outcome.host->size(); ++i) {
      const unsigned char shown = (*outcome.host)[i];
      const unsigned char real = (*expected.host)[i];
      if (isDigit(shown) != isDigit(real)) return false;
      zeros = zeros || (shown != real);
      if (zeros && isDigit(shown) && shown != '0') return false;
    }
    ++exceptions[Exception::ZerosInInformation];
    return true;
  }

  Boards::Board const& board;
  Command const& command;
  std::vector<Variant> variants;
  Outcome rehearsed;
  std::vector<bool> continued;
};

struct Count {
  unsigned long runs = 0;
  unsigned long succeeded = 0;
  unsigned long failed = 0;
  unsigned long notAccessible = 0;
  unsigned long shifted = 0;
};

class Sweeping : public testing::Test {
 protected:
  Sweeping() { Case::exceptions.clear(); }

  // The indexes grow until no message of the run is reached.
  void Sweep(Bench& bench, Boards::Board const& board, Command const& command, FaultKind const& kind,
             std::uint64_t repetitions, Case& judge) {
    Count& count = counts[kind.name];
    for (std::uint64_t index = 1;; index += Figures::Stride()) {
      bench.Load(board.memory);
      chip_fault const& fault = bench.Emulated().Add(kind.kind, index, repetitions, kind.parameter);
      const Outcome outcome = bench.Run(command);
      if (fault.met == 0 && bench.Chip().messages < index) return;
      if (fault.met == 0) continue;
      ++count.runs;
      ++(outcome.exit == 0 ? count.succeeded : outcome.exit == 5 ? count.failed : count.notAccessible);
      if (judge.Shifts(fault)) ++count.shifted;
      const std::string complaint = judge.Judge(bench, outcome, fault);
      if (complaint.empty()) continue;
      ADD_FAILURE() << complaint << ": " << command.Name() << " on " << board.name << ", " << kind.name
                    << " at message " << index << ", " << repetitions << " times, exit " << outcome.exit;
      if (++complaints >= 10) return;
    }
  }

  void SweepAll(Bench& bench, Boards::Board const& board, Command const& command) {
    Case judge(board, command);
    judge.Rehearse(bench);
    for (FaultKind const& kind : FaultKinds) {
      for (const std::uint64_t repetitions : Repetitions) {
        if (complaints < 10) Sweep(bench, board, command, kind, repetitions, judge);
      }
    }
  }

  void Report(std::string const& title) {
    for (auto const& [kind, count] : counts) {
      Figures::Print("faults", count.runs,
                     title + ", " + kind + ": " + std::to_string(count.succeeded) + " exit 0, " +
                         std::to_string(count.failed) + " exit 5, " + std::to_string(count.notAccessible) +
                         " exit 19, " + std::to_string(count.shifted) + " shifted");
      EXPECT_GT(count.runs, 0U);
    }
    for (auto const& [exception, count] : Case::exceptions) {
      Figures::Print("exceptions", count, title + ", " + ExceptionNames[static_cast<int>(exception)]);
    }
  }

  std::map<std::string, Count> counts;
  int complaints = 0;
};

class FaultSweep : public Sweeping, public testing::WithParamInterface<Kind> {};

// Where runs are long, not every pair of board and command is tried.
bool Matters(Command const& command, Boards::Board const& board) {
  constexpr std::size_t LongFile = 1000;
  const bool hasLongFiles = board.name == "Full" || board.name.find("AtStart") != std::string::npos;
  switch (command.kind) {
    case Kind::ReadAll:
    case Kind::WriteAll:
    case Kind::VerifyAll:
    case Kind::Erase:
      return board.name == "Erased" || board.name == "ThreeFiles" || board.name == "ListedAtStart";
    case Kind::Write:
      if (command.host.size() > LongFile) return board.name == "Erased" || board.name == "OutOfOrder";
      return !hasLongFiles || command.host.size() == LengthOfGrown || command.host.size() == LengthOfShrunk;
    default:
      return !hasLongFiles || command.file == 0;
  }
}

TEST_P(FaultSweep, LosesNothing) {
  Bench bench;
  const std::vector<Command> commands = CommandsOf(GetParam());
  for (Boards::Board const& board : Boards::All()) {
    for (Command const& command : commands) {
      if (Matters(command, board)) SweepAll(bench, board, command);
    }
  }
  Report(Command{.kind = GetParam()}.Word());
  if (Figures::Stride() > 1) return;
  const auto expectException = [](Kind kind, Exception exception) {
    if (GetParam() != kind) return;
    EXPECT_GT(Case::exceptions[exception], 0U) << ExceptionNames[static_cast<int>(exception)];
  };
  expectException(Kind::Erase, Exception::PagesNotErased);
  expectException(Kind::Information, Exception::ZerosInInformation);
  expectException(Kind::Write, Exception::MovedFileLost);
  expectException(Kind::Write, Exception::TableTakenForEmpty);
  expectException(Kind::Write, Exception::PeripheralNotListed);
  expectException(Kind::ReadAll, Exception::Deceived);
}

std::string NameOf(testing::TestParamInfo<Kind> const& info) {
  return Command{.kind = info.param}.Word().substr(1);
}

INSTANTIATE_TEST_SUITE_P(, FaultSweep,
                         testing::Values(Kind::Read, Kind::Write, Kind::Verify, Kind::ReadAll, Kind::WriteAll,
                                         Kind::VerifyAll, Kind::Erase, Kind::Revision, Kind::Developer,
                                         Kind::Information),
                         NameOf);

// The same behind the product's queue and worker, for commands of few messages.
using QueuedFaultSweep = Sweeping;

TEST_F(QueuedFaultSweep, HoldsBehindTheQueueAndWorkerToo) {
  Bench bench(Bench::Bus::Queued);
  for (const Kind kind : {Kind::Read, Kind::Write, Kind::Revision, Kind::Developer, Kind::Information}) {
    SweepAll(bench, Boards::All()[3], CommandsOf(kind).front());
  }
  Report("queued");
}

}  // namespace
