// update and recover, with what can go wrong at every point: the power, the process, the bus, the journal.
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <utility>

#include "ctl/CtlRig.h"
#include "ctl/Updater.h"
#include "support/Catalogue.h"
#include "support/Wrap.h"

namespace {

using Catalogue::After, Catalogue::Data, Catalogue::Write;

constexpr int Killed = 99;
// Called for each system call that the journal is kept with; returns whether the call fails.
std::function<bool()> onCall = [] { return false; };

std::vector<Command> Commands(unsigned int length, const char* setting) {
  return {Write(0, 100, 3),
          Write(1, length, length),
          Write(2, 70, 7),
          {.word = "/BS", .value = setting},
          {.word = "/DS", .value = setting}};
}

class UpdateTest : public testing::Test, protected CtlRig {
 protected:
  const Bytes old = After(Commands(200, "1"));
  const Bytes target = After(Commands(250, "2"));
  const std::vector<std::size_t> pages = WritingOrder(DifferingPages(old, target));

  void SetUp() override {
    std::filesystem::current_path(host / "");
    Load(old);
    File("target", target);
  }

  // Returns the number of the message that writes the first page.
  std::uint64_t FirstWrite() {
    Load(old);
    bus->messages.clear();
    bus->records = true;
    EXPECT_EQ(Update(), 0);
    bus->records = false;
    const auto isWrite = [](const ChipBus::Message& message) {
      return !message.isRead && message.bytes.size() > 2;
    };
    const auto found = std::find_if(bus->messages.begin(), bus->messages.end(), isWrite);
    return static_cast<std::uint64_t>(found - bus->messages.begin()) + 1;
  }

  int Update() { return Ctl("update target --journal=."); }
  int Recover() { return Ctl("recover --journal=."); }
  void AddCut(std::uint64_t page, const chip_fault& cut) { chip.Add(cut.kind, page, 1, cut.parameter); }
  void CutUpdate() {
    chip.Add(CHIP_FAULT_POWER_FIRST, 3, 1, 20);
    ASSERT_EQ(Update(), 5);
    PowerOn();
  }

  std::uint64_t PageWrites() const { return chip.Model().page_writes; }
  static bool HasJournal() { return std::filesystem::exists("journal"); }
};

TEST_F(UpdateTest, IsFinishedAfterAPowerCutAnywhereAndAfterASecondOne) {
  const auto& cuts = Catalogue::PowerCuts();
  const std::uint64_t firstWrite = FirstWrite();
  for (std::size_t page = 1; page <= pages.size(); ++page) {
    for (std::size_t form = 0; form < cuts.size(); ++form) {
      SCOPED_TRACE(testing::Message() << "page write " << page << ", form " << form);
      Load(old);
      AddCut(page, cuts[form]);
      if (form % 2 != 0) chip.Add(CHIP_FAULT_REFUSE, firstWrite + 1, 6, 0);  // all attempts at page two
      ASSERT_EQ(Update(), 5);
      PowerOn();
      // Every pair of page writes comes up; the second one is torn in another form.
      const std::uint64_t second = page + 1 + form % pages.size();
      AddCut(second, cuts[(form + 37) % cuts.size()]);
      const int code = Recover();
      ASSERT_EQ(code, PageWrites() < second ? 0 : 5) << messages;
      PowerOn();
      ASSERT_EQ(Recover(), 0) << messages;
      ASSERT_TRUE(Holds(target));
      ASSERT_FALSE(HasJournal());
    }
  }
}

TEST_F(UpdateTest, IsFinishedAfterAKillBetweenAnyTwoCalls) {
  File("journal.backup", {});
  unsigned int kills = 0;
  for (int status = 0;; ++kills) {
    SCOPED_TRACE(kills);
    Load(old);
    // Every call for the journal counts, every message after a page write, and some others.
    const pid_t child = fork();
    if (child == 0) {
      unsigned int calls = 0;
      onCall = [&] {
        if (calls++ < kills) return false;
        File("memory", Memory());
        _exit(Killed);
      };
      std::uint64_t writes = 0;
      bus->onMessage = [&] {
        if (std::exchange(writes, PageWrites()) != writes || chip.Model().messages % 299 == 0) onCall();
      };
      _exit(Update());
    }
    ASSERT_EQ(waitpid(child, &status, 0), child);
    if (status == 0) break;
    ASSERT_EQ(status, W_EXITCODE(Killed, 0));
    Load(Content("memory"));
    const bool hadJournal = HasJournal();
    ASSERT_TRUE(hadJournal || Holds(old) || Holds(target));
    ASSERT_EQ(Recover(), 0) << messages;
    ASSERT_TRUE(hadJournal ? Holds(target) : PageWrites() == 0);
    ASSERT_EQ(Update(), 0) << messages;
    ASSERT_TRUE(Holds(target));
    unlink("memory");
    ASSERT_EQ(std::distance(std::filesystem::directory_iterator("."), {}), 2) << "files";
  }
  EXPECT_GT(kills, 20U);
}

TEST_F(UpdateTest, NeverEndsWith0WhenTheChipDoesNotHoldTheTarget) {
  constexpr char Change[] = "update --file=2=upgrade --revision=2 --developer=off --journal=.";
  File("upgrade", Data(250, 250));
  const std::uint64_t firstWrite = FirstWrite();
  Load(old);
  ASSERT_EQ(Ctl(Change), 0);
  const std::uint64_t messageCount = chip.Model().messages;
  constexpr std::pair<chip_fault_kind, unsigned int> Faults[] = {
      {CHIP_FAULT_REFUSE, 0}, {CHIP_FAULT_REFUSE_LATE, 0}, {CHIP_FAULT_SHORT, 9},  {CHIP_FAULT_FLIP, 3},
      {CHIP_FAULT_FLIP, 14},  {CHIP_FAULT_FLIP, 131},      {CHIP_FAULT_FLIP, 400}, {CHIP_FAULT_DROP, 0},
      {CHIP_FAULT_STUCK, 0},  {CHIP_FAULT_FOREIGN, 0x1000}};
  constexpr std::pair<unsigned int, bool> Runs[] = {{1, false}, {3, false}, {12, false}, {0, false},
                                                    {1, true},  {3, true},  {12, true}};
  for (const auto& [kind, parameter] : Faults) {
    for (const auto& [count, isChange] : Runs) {
      // Every message around the page writes and while the files are read, some of the other reads.
      for (std::uint64_t first = 1; first <= messageCount; ++first) {
        if (first % 499 != 0 && first / 32 != firstWrite / 32 && !(isChange && first < 32)) continue;
        SCOPED_TRACE(testing::Message() << kind << ":" << first << ":" << count << ":" << parameter);
        Load(old);
        chip.Add(kind, first, count, parameter);
        const int code = isChange ? Ctl(Change) : Update();
        const bool hadJournal = HasJournal();
        ASSERT_TRUE(code == 0 ? !hadJournal : code == 5 || code == 19) << messages;
        ASSERT_TRUE(hadJournal || PageWrites() == 0 || code == 0);
        PowerOn();
        ASSERT_EQ(Ctl("recover --force --journal=."), 0) << messages;
        const Bytes& wanted = hadJournal || code == 0 ? target : old;
        ASSERT_TRUE(isChange ? Ctl("diff - board", wanted) == 0 : Holds(wanted)) << results;
      }
    }
  }
}

TEST_F(UpdateTest, IsNotFinishedOverWhatWasStoredSince) {
  CutUpdate();
  const Bytes torn = Memory();
  const Bytes waiting = Content("journal");
  for (std::size_t page = 0; page < PageCount; page += page < 8 ? 1 : 7) {
    for (const auto& [cut, isAllowed] : {std::pair{torn, page == pages[2]}, {old, page == pages[0]}}) {
      SCOPED_TRACE(page);
      Bytes content = cut;
      content[PageSize * page + 50] ^= 0x10;
      Load(content);
      File("journal", waiting);
      ASSERT_EQ(Recover(), isAllowed ? 0 : 5);
      ASSERT_TRUE(Holds(isAllowed ? target : content));
      ASSERT_EQ(HasJournal(), !isAllowed);
      ASSERT_EQ(Ctl("recover --force --journal=."), 0);
      ASSERT_TRUE(Holds(target));
    }
  }
}

TEST_F(UpdateTest, LeavesAJournalThatIsNotWholeAlone) {
  CutUpdate();
  const Bytes whole = Content("journal");
  Load(old);
  for (std::size_t i = 0; i < whole.size(); i += i < 12 ? 1 : 997) {
    Bytes changed = whole;
    changed[i] ^= 0x04;
    for (const Bytes& content : {changed, Bytes(whole.data(), whole.data() + i)}) {
      File("journal", content);
      ASSERT_EQ(Ctl("recover --force --journal=."), 5) << i;
      ASSERT_EQ(Update(), 5);
      ASSERT_EQ(PageWrites(), 0U);
      ASSERT_TRUE(Content("journal") == content);
    }
  }
}

TEST_F(UpdateTest, DoesWhatItsOptionsSay) {
  Bytes flagged = target;
  flagged[3] = 0x12;
  File("flagged", flagged);
  Bytes changed = old;
  changed[3] = 0;
  const Bytes kept = After(Commands(250, "1"));
  const std::tuple<const char*, int, const Bytes&, const char*> cases[] = {
      {"target", 0, target, "updated, 5 of 512 pages written, compared\n"},
      {"target --dry-run", 0, old, "would write 5 of 512 pages in about 1 s: 3-6, 0\n"},
      {"target --keep-settings", 0, kept, "updated, 5 of 512"},
      {"--developer=off", 0, changed, "updated, 1 of 512"},
      {"--revision=1", 0, old, "up to date\n"},
      {"flagged", 1, old, "flag"},
      {"flagged --force", 0, flagged, "updated"},
  };
  for (const auto& [line, code, content, said] : cases) {
    SCOPED_TRACE(line);
    Load(old);
    EXPECT_EQ(Ctl("update --journal=. " + std::string(line)), code);
    EXPECT_NE((results + messages).find(said), std::string::npos) << results << messages;
    EXPECT_TRUE(Holds(content));
    EXPECT_EQ(PageWrites() > 0, content != old);
    EXPECT_FALSE(HasJournal());
  }
  goldcrest.Add(CHIP_FAULT_POWER_FIRST, 3, 1, 20);
  EXPECT_EQ(Ctl("update target --goldcrest --journal=."), 5);
  EXPECT_EQ(Ctl("update target --discard --journal=."), 5) << "the journal is of the other chip";
  goldcrest.ClearFaults();
  chip_model_power_on(&goldcrest.Model());
  EXPECT_EQ(Recover(), 0);
  EXPECT_TRUE(std::equal(target.begin(), target.end(), goldcrest.Memory().begin()));
}

// A journal that waits must not survive the update that overrides it: it would undo that update.
TEST_F(UpdateTest, OverridesAnUpdateThatWasCutOffWhenItIsTold) {
  for (const Bytes& image : {target, old}) {
    Load(old);
    CutUpdate();
    Load(old);
    File("image", image);
    EXPECT_EQ(Ctl("update image --journal=. --dry-run --discard"), 0);
    EXPECT_TRUE(HasJournal());
    EXPECT_TRUE(Holds(old));
    EXPECT_EQ(Ctl("update image --journal=. --discard"), 0) << messages;
    EXPECT_FALSE(HasJournal());
    EXPECT_TRUE(Holds(image));
  }
}

TEST_F(UpdateTest, WritesNothingWhenTheJournalCannotBeKept) {
  for (unsigned int failing = 0, calls = 0; calls >= failing; ++failing) {
    calls = 0;
    Load(old);
    onCall = [&] { return calls++ == failing; };
    const int code = Update();
    onCall = [] { return false; };
    EXPECT_EQ(code, calls > failing ? 5 : 0) << failing;
    EXPECT_TRUE(Holds(target) || (PageWrites() == 0 && !HasJournal())) << failing;
    EXPECT_EQ(Recover(), 0);
  }
}

}  // namespace

// What the journal is kept with. A disk's delays are left out.
#define COUNTED(result, function, arguments, ...)       \
  WRAP(result, function, __VA_ARGS__) {                 \
    return onCall() ? -1 : __real_##function arguments; \
  }

COUNTED(int, mkostemp, (path, flags), char* path, int flags)
COUNTED(ssize_t, write, (fd, data, size), int fd, const void* data, size_t size)
COUNTED(int, rename, (from, to), const char* from, const char* to)
COUNTED(int, unlink, (path), const char* path)
WRAP(int, fsync, int /*fd*/) {
  return onCall() ? -1 : 0;
}
