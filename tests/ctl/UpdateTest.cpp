// update and recover on an emulated chip, with what can go wrong at every point: the power, the process, the
// bus, the journal.
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <sstream>
#include <utility>

#include "ctl/Changes.h"
#include "ctl/CommandLine.h"
#include "ctl/Updater.h"
#include "support/ChipBus.h"
#include "support/TempDirectory.h"

namespace {

using Bytes = std::vector<unsigned char>;

constexpr int Killed = 99;

// Called for each system call that the journal is kept with; returns whether the call fails.
std::function<bool()> onCall = [] { return false; };

Bytes Data(std::size_t size, unsigned int seed) {
  Bytes data(size);
  for (std::size_t i = 0; i < size; ++i) data[i] = static_cast<unsigned char>(seed * (i + 7) % 251);
  return data;
}

Bytes Image(Bytes const& second, unsigned short revision) {
  return Apply({{Data(100, 3), second, Data(70, 7)}, revision, true}, ErasedImage());
}

class UpdateTest : public testing::Test {
 protected:
  EmulatedChip chip;
  EmulatedChip goldcrest{CHIP_CAT24C256, 0x52};
  std::shared_ptr<ChipBus> bus =
      std::make_shared<ChipBus>(std::initializer_list<EmulatedChip*>{&chip, &goldcrest});
  TempDirectory host;
  const Bytes old = Image(Data(200, 5), 1);
  const Bytes target = Image(Data(250, 11), 2);
  const std::vector<std::size_t> pages = DifferingPages(old, target);
  std::string said;

  void SetUp() override {
    Load(old);
    File("target", target);
    ASSERT_EQ(pages, (std::vector<std::size_t>{3, 4, 5, 6, 0}));
  }

  // A chip that has just got power, with this content.
  void Load(Bytes const& content) {
    std::copy(content.begin(), content.end(), chip.Memory().begin());
    chip_model_init(&chip.Model(), CHIP_CAT24C256, chip.Memory().data(), 0x56);
  }
  void PowerOn() {
    chip.ClearFaults();
    chip_model_power_on(&chip.Model());
  }
  Bytes Memory() const { return {chip.Memory().begin(), chip.Memory().end()}; }
  bool Holds(Bytes const& content) const { return Memory() == content; }
  std::uint64_t PageWrites() const { return chip.Model().page_writes; }

  int Run(std::vector<std::string> words) {
    words.insert(words.begin() + 1, "--journal=" + host / "");
    std::istringstream input;
    std::ostringstream console;
    std::vector<char const*> argv = {"brindlectl"};
    for (std::string const& word : words) argv.push_back(word.c_str());
    const int code = RunCommandLine(static_cast<int>(argv.size()), argv.data(),
                                    {input, console, console, [this] { return bus; }});
    said = console.str();
    return code;
  }
  int Update() { return Run({"update", host / "target"}); }
  int Recover() { return Run({"recover"}); }
  void CutUpdate() {
    chip.Add(CHIP_FAULT_POWER_FIRST, 3, 1, 20);
    ASSERT_EQ(Update(), 5);
    PowerOn();
  }

  void File(std::string const& name, Bytes const& content) {
    host.File(name, {content.begin(), content.end()});
  }
  Bytes Content(std::string const& name) const {
    const std::string content = ContentOf(host / name);
    return {content.begin(), content.end()};
  }
  bool HasJournal() const { return access((host / "journal").c_str(), F_OK) == 0; }
};

constexpr unsigned int PageSize = 64;

// The ways in which a page may be torn: its first bytes are stored, or one group of four, or all but one.
constexpr unsigned int Groups = PageSize / 4;
constexpr unsigned int Forms = PageSize + 1 + 2 * Groups;

void AddCut(EmulatedChip& chip, std::uint64_t page, unsigned int form) {
  if (form <= PageSize) {
    chip.Add(CHIP_FAULT_POWER_FIRST, page, 1, form);
  } else {
    const unsigned int group = form - PageSize - 1;
    chip.Add(CHIP_FAULT_POWER_GROUPS, page, 1, 1U << group % Groups ^ (group < Groups ? 0 : 0xFFFFU));
  }
}

TEST_F(UpdateTest, IsFinishedAfterAPowerCutAnywhereAndAfterASecondOne) {
  for (std::size_t page = 1; page <= pages.size(); ++page) {
    for (unsigned int form = 0; form < Forms; ++form) {
      SCOPED_TRACE(testing::Message() << "page write " << page << ", form " << form);
      Load(old);
      AddCut(chip, page, form);
      ASSERT_EQ(Update(), 5);
      PowerOn();
      // Every pair of page writes meets; the second one is torn in another form.
      const std::uint64_t second = page + 1 + form % pages.size();
      AddCut(chip, second, (form + 37) % Forms);
      const int code = Recover();
      ASSERT_EQ(code, PageWrites() < second ? 0 : 5) << said;
      PowerOn();
      ASSERT_EQ(Recover(), 0) << said;
      ASSERT_TRUE(Holds(target));
      ASSERT_FALSE(HasJournal());
    }
  }
}

TEST_F(UpdateTest, IsFinishedAfterAKillBetweenAnyTwoCalls) {
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
    ASSERT_TRUE(WIFEXITED(status));
    if (WEXITSTATUS(status) == 0) break;
    ASSERT_EQ(WEXITSTATUS(status), Killed);
    Load(Content("memory"));
    const bool hadJournal = HasJournal();
    ASSERT_TRUE(hadJournal || Holds(old) || Holds(target));
    ASSERT_EQ(Recover(), 0) << said;
    ASSERT_TRUE(hadJournal ? Holds(target) : PageWrites() == 0);
    ASSERT_EQ(Update(), 0) << said;
    ASSERT_TRUE(Holds(target));
    unlink((host / "memory").c_str());
    ASSERT_EQ(std::distance(std::filesystem::directory_iterator(host / ""), {}), 1) << "files";
  }
  EXPECT_GT(kills, 20U);
}

TEST_F(UpdateTest, NeverEndsWith0WhenTheChipDoesNotHoldTheTarget) {
  ASSERT_EQ(Update(), 0);
  const std::uint64_t messages = chip.Model().messages;
  const std::uint64_t firstWrite = (messages - PageWrites()) / 2;
  constexpr std::pair<chip_fault_kind, unsigned int> Faults[] = {
      {CHIP_FAULT_REFUSE, 0}, {CHIP_FAULT_REFUSE_LATE, 0}, {CHIP_FAULT_SHORT, 9},  {CHIP_FAULT_FLIP, 3},
      {CHIP_FAULT_FLIP, 14},  {CHIP_FAULT_FLIP, 131},      {CHIP_FAULT_FLIP, 400}, {CHIP_FAULT_DROP, 0},
      {CHIP_FAULT_STUCK, 0},  {CHIP_FAULT_FOREIGN, 0x1000}};
  for (auto const& [kind, parameter] : Faults) {
    for (const unsigned int count : {1U, 3U, 12U, 0U}) {
      // Every message around the page writes, some of the reads.
      for (std::uint64_t first = 1; first <= messages; ++first) {
        if ((first < firstWrite - 3 || first > firstWrite + 12) && first % 193 != 0) continue;
        SCOPED_TRACE(testing::Message() << kind << ":" << first << ":" << count << ":" << parameter);
        Load(old);
        chip.Add(kind, first, count, parameter);
        const int code = Update();
        ASSERT_TRUE(code == 0 ? Holds(target) && !HasJournal() : code == 5 || code == 19) << said;
        const bool hadJournal = HasJournal();
        ASSERT_TRUE(hadJournal || PageWrites() == 0 || code == 0);
        PowerOn();
        ASSERT_EQ(Run({"recover", "--force"}), 0) << said;
        ASSERT_TRUE(Holds(hadJournal || code == 0 ? target : old));
      }
    }
  }
}

TEST_F(UpdateTest, IsNotFinishedOverWhatWasStoredSince) {
  CutUpdate();
  const Bytes torn = Memory();
  const Bytes waiting = Content("journal");
  for (std::size_t page = 0; page < Updater::Pages; page += page < 8 ? 1 : 7) {
    const bool isWritten = std::find(pages.begin(), pages.end(), page) != pages.end();
    for (auto const& [cut, isAllowed] : {std::pair{torn, page == pages[2]}, std::pair{old, isWritten}}) {
      SCOPED_TRACE(page);
      Bytes content = cut;
      content[Updater::PageSize * page + 50] ^= 0x10;
      Load(content);
      File("journal", waiting);
      ASSERT_EQ(Recover(), isAllowed ? 0 : 5);
      ASSERT_TRUE(Holds(isAllowed ? target : content));
      ASSERT_EQ(HasJournal(), !isAllowed);
      ASSERT_EQ(Run({"recover", "--force"}), 0);
      ASSERT_TRUE(Holds(target));
    }
  }
}

TEST_F(UpdateTest, LeavesAJournalThatIsNotWholeAlone) {
  CutUpdate();
  const Bytes whole = Content("journal");
  for (std::size_t i = 0; i < whole.size(); i += i < 12 ? 1 : 997) {
    Bytes changed = whole;
    changed[i] ^= 0x04;
    for (Bytes const& content :
         {changed, Bytes(whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(i))}) {
      SCOPED_TRACE(i);
      Load(old);
      File("journal", content);
      ASSERT_EQ(Run({"recover", "--force"}), 5);
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
  File("third", Data(90, 13));
  Changes changes;
  changes.files[2] = Data(90, 13);
  const Bytes changed = Apply(changes, old);
  Bytes kept = target;
  std::copy_n(old.begin(), 4, kept.begin());
  const std::string image = host / "target";
  struct {
    std::vector<std::string> words;
    int code;
    Bytes const& content;
    char const* said;
  } const cases[] = {
      {{image}, 0, target, "updated, 5 of 512 pages written, compared\n"},
      {{image, "--dry-run"}, 0, old, "would write 5 of 512 pages in about 1 seconds: 3-6, 0\n"},
      {{image, "--keep-settings"}, 0, kept, "updated, 5 of 512"},
      {{"--journal=" + host / "missing", image}, 5, old, "No such file"},
      {{"--file=3=" + host / "third"}, 0, changed, "updated"},
      {{"--revision=1"}, 0, old, "up to date\n"},
      {{host / "flagged"}, 1, old, "flag"},
      {{host / "flagged", "--force"}, 0, flagged, "updated"},
      {{host / "third", "--force"}, 5, old, "90 bytes"},
      {{image, "--revision=3"}, 22, old, "either"},
      {{}, 22, old, "either"},
      {{"--revision=3", "--keep-settings"}, 22, old, "needs an image"},
      {{image, "--no-journal"}, 22, old, "either --journal or --no-journal"},
  };
  for (auto const& [words, code, content, text] : cases) {
    SCOPED_TRACE(testing::PrintToString(words));
    std::vector<std::string> all = {"update"};
    all.insert(all.end(), words.begin(), words.end());
    Load(old);
    EXPECT_EQ(Run(all), code);
    EXPECT_NE(said.find(text), std::string::npos) << said;
    EXPECT_TRUE(Holds(content));
    EXPECT_EQ(PageWrites() > 0, content != old);
    EXPECT_FALSE(HasJournal());
  }
  EXPECT_EQ(Run({"update", image, "--goldcrest"}), 0);
  EXPECT_TRUE(std::equal(target.begin(), target.end(), goldcrest.Memory().begin()));
}

// A journal that waits must not survive the update that overrides it: it would undo that update.
TEST_F(UpdateTest, OverridesAnUpdateThatWasCutOffWhenItIsTold) {
  for (Bytes const& image : {target, old}) {
    Load(old);
    CutUpdate();
    Load(old);
    File("image", image);
    EXPECT_EQ(Run({"update", host / "image"}), 5);
    EXPECT_EQ(Run({"update", host / "image", "--dry-run", "--force"}), 0);
    EXPECT_TRUE(HasJournal());
    EXPECT_TRUE(Holds(old));
    EXPECT_EQ(Run({"update", host / "image", "--force"}), 0) << said;
    EXPECT_FALSE(HasJournal());
    EXPECT_TRUE(Holds(image));
  }
}

TEST_F(UpdateTest, WritesNothingWhenTheJournalCannotBeKept) {
  bool isMet = true;
  for (unsigned int failing = 1; isMet; ++failing) {
    unsigned int calls = 0;
    Load(old);
    onCall = [&] { return ++calls == failing; };
    const int code = Update();
    onCall = [] { return false; };
    isMet = calls >= failing;
    const bool isUntouched = PageWrites() == 0 && !HasJournal();
    EXPECT_TRUE(code == 0 ? Holds(target) : code == 5 && (isUntouched || Holds(target))) << failing;
    EXPECT_EQ(Recover(), 0);
  }
}

}  // namespace

// What the journal is kept with. A disk's delays are left out.
// NOLINTBEGIN(bugprone-reserved-identifier,readability-identifier-naming)
#define COUNTED(result, function, parameters, arguments) \
  extern "C" result __real_##function parameters;        \
  extern "C" result __wrap_##function parameters {       \
    if (!onCall()) return __real_##function arguments;   \
    errno = ENOSPC;                                      \
    return -1;                                           \
  }

COUNTED(int, mkostemp, (char* path, int flags), (path, flags))
COUNTED(ssize_t, write, (int fd, void const* data, size_t size), (fd, data, size))
COUNTED(int, rename, (char const* from, char const* to), (from, to))
COUNTED(int, unlink, (char const* path), (path))
extern "C" int __wrap_fsync(int /*fd*/) {
  return onCall() ? -1 : 0;
}
// NOLINTEND(bugprone-reserved-identifier,readability-identifier-naming)
