// update, recover and the commands that read, while the bus or the chip is disturbed: what they decide is
// never taken from one misread, and a write that was led astray costs nothing.
#include <gtest/gtest.h>

#include <filesystem>

#include "ctl/UpdateRig.h"
#include "support/Catalogue.h"

namespace {

struct Disturbance {
  const char* name;
  chip_fault_kind kind;
  unsigned int parameter;
};

constexpr unsigned int BitsInAByte = 8;
constexpr unsigned int AddressBits = 16;

const Disturbance Disturbances[] = {
    {.name = "refuse", .kind = CHIP_FAULT_REFUSE, .parameter = 0},
    {.name = "refuse-late", .kind = CHIP_FAULT_REFUSE_LATE, .parameter = 0},
    {.name = "short in the address", .kind = CHIP_FAULT_SHORT, .parameter = 1},
    {.name = "short", .kind = CHIP_FAULT_SHORT, .parameter = 7},
    {.name = "flip in the high address", .kind = CHIP_FAULT_FLIP, .parameter = 3},
    {.name = "flip in the low address", .kind = CHIP_FAULT_FLIP, .parameter = 14},
    {.name = "flip in the data", .kind = CHIP_FAULT_FLIP, .parameter = 16 * BitsInAByte - 5},
    {.name = "drop", .kind = CHIP_FAULT_DROP, .parameter = 0},
    {.name = "stuck", .kind = CHIP_FAULT_STUCK, .parameter = 0},
    {.name = "foreign", .kind = CHIP_FAULT_FOREIGN, .parameter = 0x1000}};

// Messages with which settings, table and the first image are read.
constexpr std::uint64_t FirstPages = 16;

class DisturbedUpdate : public UpdateRig, public testing::WithParamInterface<UpdateCase> {
 protected:
  void SetUp() override {
    UpdateRig::SetUp();
    quiet = RunQuietly(update);
  }

  // Returns whether a fault at this message is tried: at each one while the first pages are read and while
  // pages are written, and at every `share`-th of the others.
  [[nodiscard]] bool IsTried(std::uint64_t message, unsigned int share) const {
    constexpr std::uint64_t Around = 4;
    const bool isAtWrites = message + Around >= quiet.firstWrite && message <= quiet.lastWrite + Around;
    const bool isImportant = message <= FirstPages || isAtWrites;
    const unsigned int step = isImportant ? 1 : share;
    return message % (step * Catalogue::Stride) == 0;
  }

  void Disturb(const Disturbance& disturbance, std::uint64_t message, unsigned int count) {
    Load(update.before);
    chip.Add(disturbance.kind, message, count, disturbance.parameter);
  }

  // Returns whether the update is done: nothing but bytes of no file may differ, and these only after a write
  // that was led astray.
  [[nodiscard]] bool IsDone(bool mayHaveStrayed) const {
    return Holds(update.after) || (mayHaveStrayed && MeansTheSame(Memory(), update.after));
  }

  const UpdateCase& update = GetParam();
  QuietRun quiet;
};

TEST_P(DisturbedUpdate, EndsAsWithoutASingleDisturbance) {
  constexpr unsigned int Share = 307;
  for (const Disturbance& disturbance : Disturbances) {
    for (std::uint64_t message = 1; message <= quiet.messages; ++message) {
      if (!IsTried(message, Share)) continue;
      SCOPED_TRACE(testing::Message() << disturbance.name << " at message " << message);
      const bool strikesAWrite = quiet.isPageWrite[message];
      // The chip is busy with the part that it got, and so refuses to be read for a while.
      if (strikesAWrite && disturbance.kind == CHIP_FAULT_SHORT) continue;
      Disturb(disturbance, message, 1);
      ASSERT_EQ(Update(update), 0) << messages;
      ASSERT_TRUE(IsDone(strikesAWrite));
      ASSERT_FALSE(HasJournal());
      ASSERT_TRUE(strikesAWrite || PageWrites() == quiet.pageWrites);
    }
  }
}

TEST_P(DisturbedUpdate, LosesNothingToAWriteThatIsLedAstray) {
  for (std::uint64_t message = quiet.firstWrite; message <= quiet.lastWrite; ++message) {
    if (!quiet.isPageWrite[message]) continue;
    for (unsigned int bit = 0; bit < AddressBits; ++bit) {
      SCOPED_TRACE(testing::Message() << "message " << message << ", bit " << bit);
      Disturb({.name = "flip", .kind = CHIP_FAULT_FLIP, .parameter = bit}, message, 1);
      ASSERT_EQ(Update(update), 0) << messages;
      ASSERT_TRUE(IsDone(true));
    }
  }
}

TEST_P(DisturbedUpdate, IsFinishedAfterACut) {
  constexpr unsigned int Share = 211;
  const auto& cuts = Catalogue::PowerCuts();
  for (const Disturbance& disturbance : Disturbances) {
    for (std::uint64_t message = 1; message < quiet.firstWrite; ++message) {
      if (!IsTried(message, Share)) continue;
      SCOPED_TRACE(testing::Message() << disturbance.name << " at message " << message);
      Disturb(disturbance, message, 1);
      const chip_fault& cut = cuts[message % cuts.size()];
      chip.Add(cut.kind, 1 + message % quiet.pageWrites, 1, cut.parameter);
      ASSERT_EQ(Update(update), 5);
      ASSERT_TRUE(HasJournal());
      PowerOn();
      ASSERT_EQ(Recover(), 0) << messages;
      ASSERT_TRUE(Holds(update.after));
    }
  }
}

// Only a disturbance that stays may lead so many writes astray that the advised --force is needed. An image
// restores all that was hit.
TEST_P(DisturbedUpdate, IsFinishedByRecoverAsItSays) {
  constexpr unsigned int Share = 599;
  constexpr unsigned int ForEver = 0;
  constexpr unsigned int Counts[] = {3, 12, ForEver};
  const bool restoresAll = update.words == "target";
  for (const Disturbance& disturbance : Disturbances) {
    for (const unsigned int count : Counts) {
      for (std::uint64_t message = 1; message <= quiet.messages; ++message) {
        if (!IsTried(message, Share)) continue;
        SCOPED_TRACE(testing::Message() << disturbance.name << ':' << message << ':' << count);
        Disturb(disturbance, message, count);
        const int code = Update(update);
        const bool hadJournal = HasJournal();
        ASSERT_TRUE(code == 0 ? !hadJournal : hadJournal || PageWrites() == 0) << messages;
        PowerOn();
        const bool isRefused = Recover() != 0;
        ASSERT_TRUE(!isRefused || (count == ForEver && Says("recover --force --journal=."))) << messages;
        if (isRefused) {
          ASSERT_EQ(TakeAdvice(), 0) << messages;
        }
        ASSERT_FALSE(HasJournal());
        const bool isToBeDone = code == 0 || hadJournal;
        const bool isAsItWas = Holds(update.before);
        ASSERT_TRUE((count == ForEver && !restoresAll) || (isToBeDone ? IsDone(true) : isAsItWas));
      }
    }
  }
}

TEST_P(DisturbedUpdate, ReadsAQuietChipTwice) {
  constexpr double MostReadings = 2.1;
  constexpr std::uint64_t PageBytes = 64;
  const std::uint64_t writtenAndConfirmed = 2 * PageBytes * quiet.pageWrites;
  EXPECT_LE(static_cast<double>(quiet.bytes - writtenAndConfirmed), MostReadings * ChipSize);
}

INSTANTIATE_TEST_SUITE_P(Cases, DisturbedUpdate, testing::ValuesIn(UpdateCases()),
                         [](const auto& test) { return test.param.name; });

class DisturbedReader : public UpdateRig, public testing::WithParamInterface<UpdateCase> {
 protected:
  // What a command that reads the chip comes to.
  struct Answer {
    int code = 0;
    std::string results;
    Bytes image;

    bool operator==(const Answer&) const = default;
  };

  Answer Run(const std::string& line) {
    std::filesystem::remove("image");
    const int code = Ctl(line);
    return {code, results, Content("image")};
  }
};

TEST_P(DisturbedReader, ShowsWhatTheChipHoldsOrFails) {
  constexpr unsigned int Share = 127;
  File("before", GetParam().before);
  const char* const lines[] = {"list", "check --json", "extract board 1 image", "diff before board",
                               "build image --from=board"};
  for (const char* const line : lines) {
    Load(GetParam().before);
    const Answer quiet = Run(line);
    ASSERT_EQ(quiet.code, 0);
    const std::uint64_t messageCount = chip.Model().messages;
    for (const Disturbance& disturbance : Disturbances) {
      for (std::uint64_t message = 1; message <= messageCount; ++message) {
        const unsigned int step = message <= FirstPages ? 1 : Share;
        if (message % (step * Catalogue::Stride) != 0) continue;
        SCOPED_TRACE(testing::Message() << line << ", " << disturbance.name << " at message " << message);
        Load(GetParam().before);
        chip.Add(disturbance.kind, message, 1, disturbance.parameter);
        ASSERT_TRUE(Run(line) == quiet) << messages << results;
      }
    }
  }
}

INSTANTIATE_TEST_SUITE_P(Cases, DisturbedReader, testing::ValuesIn(UpdateCases()),
                         [](const auto& test) { return test.param.name; });

}  // namespace
