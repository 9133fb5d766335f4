// update and recover when the power goes or the process ends, at every point; and what a waiting journal
// allows.
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <utility>

#include "content/Pages.h"
#include "ctl/HostCalls.h"
#include "ctl/UpdateRig.h"
#include "support/Catalogue.h"

namespace {

class CutUpdate : public UpdateRig {
 protected:
  struct Cut {
    std::uint64_t page;  // number of the page write, from 1
    const chip_fault& form;
  };

  void TearDown() override { HostCalls::Reset(); }

  void Add(const Cut& cut) { chip.Add(cut.form.kind, cut.page, 1, cut.form.parameter); }

  // Cuts the update, and recover after it, and lets a second recover finish.
  void CutTwice(const UpdateCase& update, const Cut& first, const Cut& second) {
    Load(update.before);
    Add(first);
    ASSERT_EQ(Update(update), 5);
    PowerOn();
    Add(second);
    const int code = TakeAdvice();
    const bool isCutAgain = PageWrites() >= second.page;
    ASSERT_EQ(code, isCutAgain ? 5 : 0) << messages;
    PowerOn();
    ASSERT_EQ(Recover(), 0) << messages;
    ASSERT_TRUE(Holds(update.after));
    ASSERT_FALSE(HasJournal());
  }
};

TEST_F(CutUpdate, IsFinishedAfterACutAnywhereAndAfterASecondOne) {
  constexpr std::size_t Onward = 37;  // so that the second page is torn in another form
  std::vector<chip_fault> forms = Catalogue::PowerCuts();
  const auto& torn = Catalogue::TornPages();
  forms.insert(forms.end(), torn.begin(), torn.end());
  for (const UpdateCase& update : UpdateCases()) {
    const std::uint64_t pages = RunQuietly(update).pageWrites;
    for (std::uint64_t page = 1; page <= pages; ++page) {
      for (std::size_t form = 0; form < forms.size(); ++form) {
        if ((page + form) % Catalogue::Stride != 0) continue;
        SCOPED_TRACE(testing::Message() << update.name << ", page write " << page << ", form " << form);
        const Cut first = {.page = page, .form = forms[form]};
        const Cut second = {.page = page + 1 + form % pages, .form = forms[(form + Onward) % forms.size()]};
        CutTwice(update, first, second);
        if (HasFatalFailure()) return;
      }
    }
  }
}

// The second page cannot be written in the first round, and the power goes in a later one.
TEST_F(CutUpdate, IsFinishedAfterACutInALaterRound) {
  const UpdateCase update = ImageCase();
  const QuietRun quiet = RunQuietly(update);
  constexpr unsigned int AllAttempts = 6;
  for (std::uint64_t page = 2; page <= quiet.pageWrites; ++page) {
    for (const chip_fault& form : Catalogue::PowerCuts()) {
      Load(update.before);
      chip.Add(CHIP_FAULT_REFUSE, quiet.firstWrite + 1, AllAttempts, 0);
      Add({.page = page, .form = form});
      ASSERT_EQ(Update(update), 5);
      PowerOn();
      ASSERT_EQ(Recover(), 0) << messages;
      ASSERT_TRUE(Holds(update.after));
    }
  }
}

class KilledUpdate : public UpdateRig {
 protected:
  static constexpr int Killed = 99;

  // Ends the process at the call of this number: one for the journal, a message after a page write, or one
  // of some other messages. Leaves the chip's content in the file "memory".
  [[noreturn]] void RunUntil(unsigned int lastCall) {
    constexpr std::uint64_t SomeMessages = 299;
    unsigned int calls = 0;
    const auto count = [&] {
      if (calls++ < lastCall) return;
      HostCalls::Reset();
      File("memory", Memory());
      _exit(Killed);
    };
    HostCalls::onCall = [&](const std::string&) {
      count();
      return false;
    };
    std::uint64_t writes = 0;
    bus->onMessage = [&] {
      const bool hasWritten = std::exchange(writes, PageWrites()) != writes;
      if (hasWritten || chip.Model().messages % SomeMessages == 0) count();
    };
    _exit(Update(ImageCase()));
  }
};

TEST_F(KilledUpdate, IsFinishedByRecover) {
  constexpr unsigned int FewestKills = 20;
  File("journal.backup", {});
  unsigned int kills = 0;
  for (int status = 0;; ++kills) {
    SCOPED_TRACE(kills);
    Load(Old());
    const pid_t child = fork();
    if (child == 0) RunUntil(kills);
    ASSERT_EQ(waitpid(child, &status, 0), child);
    if (status == 0) break;
    ASSERT_EQ(status, W_EXITCODE(Killed, 0));
    Load(Content("memory"));
    const bool hadJournal = HasJournal();
    ASSERT_TRUE(hadJournal || Holds(Old()) || Holds(New()));
    ASSERT_EQ(Recover(), 0) << messages;
    ASSERT_TRUE(hadJournal ? Holds(New()) : PageWrites() == 0);
    ASSERT_EQ(Update(ImageCase()), 0) << messages;
    ASSERT_TRUE(Holds(New()));
    ASSERT_EQ(FileNames(), "journal.backup memory other target upgrade ");
  }
  EXPECT_GT(kills, FewestKills);
}

class WaitingJournal : public UpdateRig {
 protected:
  void SetUp() override {
    UpdateRig::SetUp();
    CutUpdate();
    torn = Memory();
    waiting = Content("journal");
  }

  Bytes torn;  // the chip after the cut
  Bytes waiting;
};

TEST_F(WaitingJournal, IsNotAppliedOverWhatWasStoredSince) {
  constexpr std::size_t FirstPages = 8;
  constexpr std::size_t Onward = 7;
  constexpr std::size_t FirstToWrite = 3;
  constexpr std::size_t TornPage = 5;
  constexpr std::size_t InThePage = 50;
  const struct {
    Bytes content;
    std::size_t mayBeTorn;  // a page
  } states[] = {{.content = torn, .mayBeTorn = TornPage}, {.content = Old(), .mayBeTorn = FirstToWrite}};
  for (const auto& state : states) {
    for (std::size_t page = 0; page < PageCount; page += page < FirstPages ? 1 : Onward) {
      SCOPED_TRACE(page);
      Bytes content = state.content;
      content[PageSize * page + InThePage] ^= 0x10;
      Load(content);
      File("journal", waiting);
      const bool isAllowed = page == state.mayBeTorn;
      const int dryRun = Ctl("recover --dry-run --journal=.");
      ASSERT_TRUE(Holds(content) && HasJournal());
      ASSERT_EQ(Recover(), dryRun);
      ASSERT_EQ(dryRun, isAllowed ? 0 : 5);
      ASSERT_TRUE(Holds(isAllowed ? New() : content));
      ASSERT_EQ(HasJournal(), !isAllowed);
      if (isAllowed) continue;
      ASSERT_TRUE(Says("changed since the update was cut off, on page ")) << messages;
      ASSERT_EQ(TakeAdvice(), 0);
      ASSERT_TRUE(Holds(New()));
    }
  }
}

// What Brindle has stored must not look like the old content in one disturbed reading.
TEST_F(WaitingJournal, IsNotAppliedForAMisread) {
  constexpr std::uint64_t FirstRead = 4;  // message
  constexpr unsigned int Bits = 128;      // of a transfer
  const Command setting = {.word = "/BS", .value = "5"};
  ASSERT_EQ(Rig::Run(setting).exit, 0);
  const Bytes content = Memory();
  for (unsigned int bit = 0; bit < Bits; ++bit) {
    Load(content);
    chip.Add(CHIP_FAULT_FLIP, FirstRead, 1, bit);
    ASSERT_EQ(Recover(), 5) << bit;
    ASSERT_TRUE(Holds(content));
  }
}

TEST_F(WaitingJournal, IsNotRefusedForAMisread) {
  constexpr std::uint64_t Some = 61;
  constexpr unsigned int InTheData = 77;
  Load(torn);
  ASSERT_EQ(Recover(), 0);
  const std::uint64_t messageCount = chip.Model().messages;
  for (std::uint64_t message = 3; message <= messageCount; message += Some) {
    SCOPED_TRACE(message);
    Load(torn);
    File("journal", waiting);
    chip.Add(CHIP_FAULT_FLIP, message, 1, InTheData);
    ASSERT_EQ(Recover(), 0) << messages;
    ASSERT_TRUE(Holds(New()));
  }
}

TEST_F(WaitingJournal, RefusesAnUpdateUnlessItIsDiscarded) {
  for (const Bytes& image : {New(), Old()}) {
    Load(Old());
    File("journal", waiting);
    File("image", image);
    for (const char* const line : {"update image", "update image --force", "update --revision=7 --force"}) {
      EXPECT_EQ(Ctl(std::string(line) + " --journal=."), 5);
      EXPECT_TRUE(Says("\"brindlectl recover --journal=.\" finishes it, --discard")) << messages;
      EXPECT_EQ(PageWrites(), 0U);
      EXPECT_TRUE(Content("journal") == waiting);
    }
    EXPECT_EQ(Ctl("update image --journal=. --dry-run --discard"), 0);
    EXPECT_TRUE(HasJournal());
    EXPECT_TRUE(Holds(Old()));
    EXPECT_EQ(Ctl("update image --journal=. --discard"), 0) << messages;
    EXPECT_FALSE(HasJournal()) << "it would undo this update";
    EXPECT_TRUE(Holds(image));
  }
}

TEST_F(WaitingJournal, IsKeptWhenItCannotBeReplaced) {
  bool hasFailed = true;
  for (unsigned int failing = 1; hasFailed; ++failing) {
    SCOPED_TRACE(failing);
    Load(Old());
    File("journal", waiting);
    unsigned int calls = 0;
    std::string failed;
    HostCalls::onCall = [&](const std::string& call) {
      if (call == "read" || ++calls != failing) return false;
      failed = call;
      return true;
    };
    const int code = Ctl("update --revision=7 --discard --journal=.");
    HostCalls::Reset();
    hasFailed = !failed.empty();
    EXPECT_EQ(code, hasFailed ? 5 : 0);
    const bool isUntouched = PageWrites() == 0;
    EXPECT_TRUE(!isUntouched || HasJournal());
    const bool isReplaced = failed == "flush folder" || failed == "unlink";
    EXPECT_TRUE(!hasFailed || isReplaced || Content("journal") == waiting) << failed;
    if (isUntouched && !isReplaced) {
      EXPECT_EQ(Recover(), 0) << messages;
      EXPECT_TRUE(Holds(New()));
    }
  }
}

TEST_F(WaitingJournal, IsThrownAwayWhenTold) {
  EXPECT_EQ(Ctl("recover --discard --journal=."), 0);
  EXPECT_TRUE(Says("an update of board: of its 5 pages")) << results;
  EXPECT_TRUE(Holds(torn));
  EXPECT_FALSE(HasJournal());
  EXPECT_EQ(Update(ImageCase()), 0);
}

TEST_F(WaitingJournal, OfTheOtherChipIsNotThrownAwayByAnUpdate) {
  std::filesystem::remove("journal");
  goldcrest.Add("power-first:3:1:20");
  EXPECT_EQ(Ctl("update target --goldcrest --journal=."), 5);
  const Bytes other = Content("journal");
  EXPECT_EQ(Ctl("update target --discard --journal=."), 5);
  EXPECT_TRUE(Says("another chip, board at 0x52")) << messages;
  EXPECT_TRUE(Content("journal") == other);
  goldcrest.ClearFaults();
  chip_model_power_on(&goldcrest.Model());
  EXPECT_EQ(TakeAdvice(), 0);
  EXPECT_TRUE(std::ranges::equal(New(), goldcrest.Memory()));
  EXPECT_FALSE(HasJournal());
}

// While this process waits for the board, the update comes to its end.
TEST_F(WaitingJournal, IsReadOnceTheBoardIsReserved) {
  reserve = [](unsigned int) {
    std::filesystem::remove("journal");
    return std::make_shared<DirectoryLock>();
  };
  Load(torn);
  EXPECT_EQ(Recover(), 0);
  EXPECT_EQ(PageWrites(), 0U);
}

TEST_F(WaitingJournal, WaitsForAChipThatIsLate) {
  constexpr unsigned int Probes = 9;
  Load(torn);
  chip.Add(CHIP_FAULT_REFUSE, 1, Probes);
  EXPECT_EQ(Recover(), 19);
  EXPECT_TRUE(HasJournal());
  EXPECT_EQ(Ctl("recover --wait=60 --journal=."), 0) << messages;
  EXPECT_TRUE(Holds(New()));
}

TEST_F(WaitingJournal, IsLeftAloneWhenItIsNotWhole) {
  constexpr std::size_t Head = 30;
  constexpr std::size_t Onward = 997;
  Load(Old());
  for (std::size_t i = 0; i < waiting.size(); i += i < Head ? 1 : Onward) {
    const Bytes changed = Changed(waiting, i, {static_cast<unsigned char>(waiting[i] ^ 0x04)});
    const Bytes cut(waiting.data(), waiting.data() + i);
    for (const Bytes& content : {changed, cut}) {
      File("journal", content);
      for (const char* const line : {"recover --force", "update target", "update target --force"}) {
        ASSERT_EQ(Ctl(std::string(line) + " --journal=."), 5) << i;
        ASSERT_EQ(PageWrites(), 0U);
        ASSERT_TRUE(Content("journal") == content);
      }
    }
  }
  ASSERT_EQ(Recover(), 5);
  ASSERT_EQ(TakeAdvice(), 0) << "what it advises is to discard it";
  ASSERT_FALSE(HasJournal());
  File("journal", {});
  ASSERT_EQ(Ctl("update target --discard --journal=."), 0) << messages;
  ASSERT_TRUE(Holds(New()));
}

}  // namespace
