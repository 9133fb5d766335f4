// Faults that the chip acknowledges all the same: which command notices them, and which cannot. The answers
// are the table in docs/reliability.md, to which this test holds it.
#include <gtest/gtest.h>

#include <array>
#include <fstream>
#include <sstream>

#include "robustness/Bench.h"
#include "robustness/Boards.h"
#include "robustness/Figures.h"

namespace {

using Kind = Command::Kind;

struct SilentFault {
  char const* name;
  chip_fault_kind kind;
  std::vector<unsigned int> parameters;
};

// A flip of a bit in the first bytes of a message (of a write its address) and in a later one.
std::vector<SilentFault> Faults() {
  return {{"a bit flipped on the wire", CHIP_FAULT_FLIP, {0, 13, 18, 90}},
          {"a write acknowledged and dropped", CHIP_FAULT_DROP, {0}},
          {"an address counter that stands still", CHIP_FAULT_STUCK, {0}},
          {"a foreign transfer in between", CHIP_FAULT_FOREIGN, {0x2345}},
          {"a read refused after the counter moved", CHIP_FAULT_REFUSE_LATE, {0}}};
}

std::vector<Command> Commands(Boards::Board const& board) {
  return {{.kind = Kind::Read, .file = 0},
          {.kind = Kind::Verify, .file = 0, .host = Boards::Data(300, 1)},
          {.kind = Kind::Write, .file = 0, .host = Boards::Data(420, 4)},
          {.kind = Kind::ReadAll},
          {.kind = Kind::VerifyAll, .host = board.memory},
          {.kind = Kind::WriteAll, .host = Boards::Data(ChipSize, 10)},
          {.kind = Kind::Erase},
          {.kind = Kind::Revision, .number = 300},
          {.kind = Kind::Developer, .number = 1},
          {.kind = Kind::Information}};
}

// What the harmful runs of one command came to: those whose result is not that of a run without the fault.
struct Tally {
  unsigned long noticed = 0;
  unsigned long unnoticed = 0;

  [[nodiscard]] char const* Word() const {
    if (noticed + unnoticed == 0) return "harmless";
    if (unnoticed == 0) return "notices";
    return noticed == 0 ? "cannot" : "in part";
  }
};

Tally Try(Bench& bench, Boards::Board const& board, Command const& command, SilentFault const& fault) {
  const Expectation normal = StoreModel(board.memory).Expect(command);
  bench.Load(board.memory);
  bench.Run(command);
  const std::uint64_t messages = bench.Chip().messages;
  const std::uint64_t step = 1 + messages / 700;
  Tally tally;
  for (std::uint64_t message = 1; message <= messages; message += step) {
    for (const unsigned int parameter : fault.parameters) {
      bench.Load(board.memory);
      bench.Emulated().Add(fault.kind, message, 1, parameter);
      const Outcome outcome = bench.Run(command);
      const bool harmed =
          outcome.exit != normal.exit || outcome.host != normal.host || !bench.Holds(normal.memory);
      if (harmed) ++(outcome.exit == 0 ? tally.unnoticed : tally.noticed);
    }
  }
  return tally;
}

TEST(SilentFaults, AreNoticedAsTheDocumentSays) {
  Boards::Board const& board = Boards::All()[3];
  Bench bench;
  std::string table = "| fault |";
  for (Command const& command : Commands(board)) table += " " + command.Word() + " |";
  table += "\n|---|---|---|---|---|---|---|---|---|---|---|\n";
  for (SilentFault const& fault : Faults()) {
    table += std::string("| ") + fault.name + " |";
    for (Command const& command : Commands(board)) {
      const Tally tally = Try(bench, board, command, fault);
      table += std::string(" ") + tally.Word() + " |";
      Figures::Print(
          "silent faults", tally.noticed + tally.unnoticed,
          command.Word() + ", " + fault.name + ": " + std::to_string(tally.unnoticed) + " unnoticed");
    }
    table += "\n";
  }
  std::ifstream file(RELIABILITY_DOCUMENT);
  std::ostringstream document;
  document << file.rdbuf();
  EXPECT_NE(document.str().find(table), std::string::npos) << "the table is:\n" << table;
}

}  // namespace
