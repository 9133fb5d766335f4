// Every sequence of three writing commands, and random ones on random contents: each run comes to what it
// must.
#include <gtest/gtest.h>

#include <cstdlib>
#include <random>

#include "support/Catalogue.h"
#include "support/Judge.h"

namespace {

// BRINDLE_TEST_SEED repeats a run; otherwise each run has a seed of its own.
unsigned long Seed() {
  const char* const wanted = std::getenv("BRINDLE_TEST_SEED");
  if (wanted == nullptr) return std::random_device()();
  return std::strtoul(wanted, nullptr, 0);
}

class Sequences : public testing::Test {
 protected:
  // Runs one more command on what the chip holds. Returns what is wrong, and all that it takes to repeat it.
  std::string Step(const Bytes& contents, const Command& command) {
    history.push_back(command.Name());
    std::string complaint = RunAndJudge(rig, contents, command);
    if (complaint.empty()) return complaint;
    constexpr std::size_t TableStart = 4;
    constexpr std::size_t TableEnd = 16;
    const Bytes table(contents.begin() + TableStart, contents.begin() + TableEnd);
    return complaint + ": " + testing::PrintToString(std::tie(history, table, seed));
  }

  const unsigned long seed = Seed();
  std::mt19937 random{static_cast<std::mt19937::result_type>(seed)};
  const Catalogue::Random below = [this](unsigned int limit) {
    return static_cast<unsigned int>(random() % limit);
  };
  Rig rig;
  std::vector<std::string> history;
};

TEST_F(Sequences, OfThreeGoAsTheModelSays) {
  const auto& commands = Catalogue::Writing();
  unsigned long turn = 0;
  unsigned long judged = 0;
  for (const Command& first : commands) {
    history.clear();
    ASSERT_EQ(Step(Bytes(ChipSize, 0xFF), first), "");
    const Bytes one = rig.Memory();
    for (const Command& second : commands) {
      history.resize(1);
      ASSERT_EQ(Step(one, second), "");
      const Bytes two = rig.Memory();
      for (const Command& third : commands) {
        if (turn++ % Catalogue::Stride != 0) continue;
        history.resize(2);
        ASSERT_EQ(Step(two, third), "");
        ++judged;
      }
    }
  }
  std::cout << judged << " sequences of three\n";
  constexpr unsigned long All = 15'000;
  EXPECT_GE(judged, Catalogue::PerStride(All));
}

TEST_F(Sequences, OfRandomCommandsOnRandomContentsGoAsTheModelSays) {
  constexpr unsigned int Runs = 12'000;
  constexpr unsigned int RunsFromErased = 100;
  for (unsigned int i = 0; i < Catalogue::PerStride(Runs); ++i) {
    const bool startsErased = i % RunsFromErased == 0;
    const bool startsAnew = startsErased || below(3) != 0;
    if (startsAnew) {
      history.clear();
      rig.Load(startsErased ? Bytes(ChipSize, 0xFF) : Catalogue::AnyMemory(below));
    }
    const Bytes contents = rig.Memory();
    ASSERT_EQ(Step(contents, Catalogue::AnyCommand(below, contents)), "");
  }
}

}  // namespace
