// Every sequence of three commands, and long random ones, on the model and on the product at once: after each
// command the exit code, the host file and every byte of the chip must be the model's, and no file that was
// readable may have gone.
#include <gtest/gtest.h>

#include <cstdlib>
#include <random>

#include "robustness/Bench.h"
#include "robustness/Boards.h"
#include "robustness/Figures.h"

namespace {

using Kind = Command::Kind;

constexpr unsigned int Files = 3;

Command Write(unsigned int file, std::size_t length, unsigned int seed = 0) {
  return {.kind = Kind::Write, .file = file, .host = Boards::Data(length, seed)};
}

// What fills the reserved place without an erased byte is recognised without being listed.
Bytes RecognisedFile() {
  Bytes data = Boards::Data(16'382, 1);
  for (unsigned char& byte : data) byte |= byte == 0xFF ? 0 : 1;
  for (unsigned char& byte : data) byte = byte == 0xFF ? 0x7F : byte;
  return data;
}

std::vector<Command> const& Commands() {
  static const std::vector<Command> commands = [] {
    std::vector<Command> list;
    for (unsigned int file = 0; file < Files; ++file) {
      for (const std::size_t length : {1UL, 200UL, 3000UL, 12'000UL})
        list.push_back(Write(file, length, file));
      list.push_back(Write(file, 200, file + 10));
    }
    list.push_back(Write(0, 16'382));
    list.push_back({.kind = Kind::Write, .file = 0, .host = RecognisedFile()});
    list.push_back(Write(1, 0));
    list.push_back(Write(1, 20'000));
    list.push_back(Write(2, 16'318));
    list.push_back({.kind = Kind::Erase});
    list.push_back({.kind = Kind::WriteAll, .host = Boards::All()[4].memory});
    list.push_back({.kind = Kind::WriteAll, .host = Boards::Data(700, 3)});
    list.push_back({.kind = Kind::Revision, .number = 300});
    list.push_back({.kind = Kind::Developer, .number = 1});
    return list;
  }();
  return commands;
}

// Empty when the command did on these contents what the model says; `memory` then holds what it left.
std::string Compare(Bench& bench, Bytes& memory, Command const& command) {
  const StoreModel before(memory);
  const Expectation expected = before.Expect(command);
  bench.Load(memory);
  const Outcome outcome = bench.Run(command);
  if (!outcome.IsOrderly()) return "not orderly";
  if (outcome.exit != expected.exit) return "exit " + std::to_string(outcome.exit);
  if (outcome.host != expected.host) return "wrong host file";
  if (!bench.Holds(expected.memory)) return "wrong contents of the chip";
  if (bench.Chip().busy != 0) return "the write cycle was not waited out";
  memory = expected.memory;
  if (command.kind == Kind::Erase || command.kind == Kind::WriteAll) return "";
  const StoreModel after(memory);
  for (unsigned int file = 0; file < Files; ++file) {
    const bool isWritten = command.kind == Kind::Write && command.file == file && outcome.exit == 0;
    if (isWritten || !before.Content(file) || before.Content(file) == after.Content(file)) continue;
    return "file " + std::to_string(file + 1) + " is lost";
  }
  return "";
}

class Sequences : public testing::TestWithParam<std::size_t> {};

TEST_P(Sequences, OfThreeGoAsTheModelSays) {
  Bench bench;
  unsigned long runs = 0;
  unsigned long sequences = 0;
  const auto step = [&](Bytes const& from, std::string const& history, auto const& next) {
    for (std::size_t i = 0; i < Commands().size(); ++i) {
      const Command& command = Commands()[i];
      if (history.empty() && i != GetParam()) continue;
      Bytes memory = from;
      const std::string name = history + command.Name() + "; ";
      const std::string complaint = Compare(bench, memory, command);
      ++runs;
      if (!complaint.empty()) ADD_FAILURE() << complaint << ": " << name;
      if (complaint.empty()) next(memory, name);
    }
  };
  step(Bytes(ChipSize, 0xFF), "", [&](Bytes const& one, std::string const& first) {
    step(one, first, [&](Bytes const& two, std::string const& second) {
      if (++sequences % Figures::Stride() != 0) return;
      step(two, second, [&](Bytes const&, std::string const&) {});
    });
  });
  Figures::Print("sequence steps", runs, "beginning with " + Commands()[GetParam()].Name());
}

INSTANTIATE_TEST_SUITE_P(, Sequences, testing::Range(std::size_t{0}, Commands().size()));

// --- long random sequences ---

Command RandomCommand(std::mt19937& random) {
  const auto below = [&](unsigned int limit) { return static_cast<unsigned int>(random() % limit); };
  const unsigned int file = below(Files);
  switch (below(40)) {
    case 0:
      return {.kind = Kind::Erase};
    case 1:
      return {.kind = Kind::WriteAll, .host = Boards::All()[below(9)].memory};
    case 2:
      return {.kind = Kind::Revision, .number = below(65536)};
    case 3:
      return {.kind = Kind::Information};
    case 4:
      return {.kind = Kind::ReadAll};
    case 5:
    case 6:
    case 7:
    case 8:
      return {.kind = Kind::Read, .file = file};
    default:
      return Write(file, below(1U << below(15)), below(1000));
  }
}

// Empty when the whole sequence goes as the model says.
std::string Play(Bench& bench, std::vector<Command> const& commands) {
  Bytes memory(ChipSize, 0xFF);
  for (Command const& command : commands) {
    const std::string complaint = Compare(bench, memory, command);
    if (!complaint.empty()) return complaint + " after " + command.Name();
  }
  return "";
}

// Leaves out whatever can be left out of a sequence that fails.
std::vector<Command> Shrink(Bench& bench, std::vector<Command> commands) {
  for (std::size_t length = commands.size() / 2; length > 0; length /= 2) {
    for (std::size_t from = 0; from + length <= commands.size();) {
      std::vector<Command> shorter = commands;
      shorter.erase(shorter.begin() + static_cast<long>(from),
                    shorter.begin() + static_cast<long>(from + length));
      if (Play(bench, shorter).empty()) {
        from += length;
      } else {
        commands = std::move(shorter);
      }
    }
  }
  return commands;
}

TEST(LongSequences, GoAsTheModelSays) {
  constexpr int SequenceCount = 60;
  constexpr int SequenceLength = 150;
  char const* const wanted = std::getenv("BRINDLE_TEST_SEED");
  const unsigned long seed = wanted != nullptr ? std::strtoul(wanted, nullptr, 0) : std::random_device()();
  std::mt19937 random(static_cast<std::mt19937::result_type>(seed));
  Bench bench;
  unsigned long steps = 0;
  for (int i = 0; i < SequenceCount; i += static_cast<int>(Figures::Stride())) {
    std::vector<Command> commands;
    for (int j = 0; j < SequenceLength; ++j) commands.push_back(RandomCommand(random));
    steps += commands.size();
    if (Play(bench, commands).empty()) continue;
    commands = Shrink(bench, commands);
    std::string names;
    for (Command const& command : commands) names += command.Name() + "; ";
    FAIL() << Play(bench, commands) << ": " << names << " (BRINDLE_TEST_SEED=" << seed << ")";
  }
  Figures::Print("random steps", steps, "from BRINDLE_TEST_SEED=" + std::to_string(seed));
}

// --- what success does not promise ---

TEST(Exceptions, AnEmptyFileIsStoredAndReadsBackAsNone) {
  Bench bench;
  bench.Load(Bytes(ChipSize, 0xFF));
  EXPECT_EQ(bench.Run(Write(1, 0)).exit, 0);
  EXPECT_EQ(bench.Run({.kind = Kind::Read, .file = 1}).exit, 5);
}

TEST(Exceptions, AFirstPeripheralFileOfTheReservedSizeIsNotListed) {
  Bench bench;
  bench.Load(Bytes(ChipSize, 0xFF));
  EXPECT_EQ(bench.Run({.kind = Kind::Write, .file = 0, .host = RecognisedFile()}).exit, 0);
  EXPECT_EQ(bench.Run({.kind = Kind::Read, .file = 0}).host, RecognisedFile());
  bench.Load(Bytes(ChipSize, 0xFF));
  EXPECT_EQ(bench.Run(Write(0, 16'382)).exit, 0);
  EXPECT_EQ(bench.Run({.kind = Kind::Read, .file = 0}).exit, 5) << "taken to end before its first 0xFF byte";
}

}  // namespace
