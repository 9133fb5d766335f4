// Every sequence of three writing commands, and random ones on random contents: each run comes to what it
// must.
#include <gtest/gtest.h>

#include <cstdlib>
#include <random>

#include "support/Catalogue.h"
#include "support/Judge.h"

namespace {

class Sequences : public testing::Test {
 protected:
  // Runs one more command on what the chip holds. Returns what is wrong, and all that it takes to repeat it.
  std::string Step(const Bytes& contents, const Command& command) {
    std::string complaint = RunAndJudge(rig, contents, command);
    history.push_back(command.Name());
    const Bytes table(contents.begin() + 4, contents.begin() + 16);
    if (!complaint.empty()) complaint += ": " + testing::PrintToString(std::tie(history, table, seed));
    return complaint;
  }

  const unsigned long seed = [] {
    const char* const wanted = std::getenv("BRINDLE_TEST_SEED");
    return wanted != nullptr ? std::strtoul(wanted, nullptr, 0) : std::random_device()();
  }();
  std::mt19937 random{static_cast<std::mt19937::result_type>(seed)};
  const Catalogue::Random below = [this](unsigned int limit) {
    return static_cast<unsigned int>(random() % limit);
  };
  Rig rig;
  std::vector<std::string> history;
};

TEST_F(Sequences, OfThreeGoAsTheModelSays) {
  unsigned long sequences = 0;
  const auto& commands = Catalogue::Writing();
  for (const Command& first : commands) {
    history.clear();
    ASSERT_EQ(Step(Bytes(ChipSize, 0xFF), first), "");
    const Bytes one = rig.Memory();
    for (const Command& second : commands) {
      history.resize(1);
      ASSERT_EQ(Step(one, second), "");
      const Bytes two = rig.Memory();
      for (const Command& third : commands) {
        history.resize(2);
        if (++sequences % Catalogue::Stride != 0) continue;
        ASSERT_EQ(Step(two, third), "");
      }
    }
  }
  std::cout << sequences << " sequences of three\n";
  EXPECT_GE(sequences, 15'000U);
}

TEST_F(Sequences, OfRandomCommandsOnRandomContentsGoAsTheModelSays) {
  for (unsigned int i = 0; i < 12'000; i += Catalogue::Stride) {
    if (i % 100 == 0 || below(3) != 0) {
      history.clear();
      rig.Load(i % 100 == 0 ? Bytes(ChipSize, 0xFF) : Catalogue::AnyMemory(below));
    }
    const Bytes contents = rig.Memory();
    ASSERT_EQ(Step(contents, Catalogue::AnyCommand(below, contents)), "");
  }
}

}  // namespace
