// What only a rig shows of brindlectl: how files are kept, progress, and an EEPROM that cannot be read.
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>

#include "ctl/HostCalls.h"
#include "ctl/UpdateRig.h"

namespace {

class UpdateTest : public UpdateRig {
 protected:
  void TearDown() override { HostCalls::Reset(); }

  std::string calls;

  // Updates to an image in which one bit of each of these pages differs.
  int UpdatePages(const std::vector<std::size_t>& pages, const std::string& options) {
    constexpr std::size_t PageSize = 64;
    constexpr std::size_t InThePage = 40;  // in page 0 behind the table
    Bytes image(ChipSize, 0xFF);
    Load(image);
    for (const std::size_t page : pages) image[PageSize * page + InThePage] = 0;
    File("image", image);
    return Ctl("update image --journal=. " + options);
  }

  static std::vector<std::size_t> AllPages() {
    constexpr std::size_t Pages = 512;
    std::vector<std::size_t> pages;
    for (std::size_t page = 0; page < Pages; ++page) pages.push_back(page);
    return pages;
  }
};

TEST_F(UpdateTest, SaysWhichPagesItWouldWriteAndHowLongItTakes) {
  const struct {
    std::vector<std::size_t> pages;
    const char* says;
  } cases[] = {{.pages = {0, 3, 4, 7, 9, 10, 11},
                .says = "would write 7 of 512 pages in about 1 s: 3-4, 7, 9-11, 0\n"},
               {.pages = AllPages(), .says = "would write 512 of 512 pages in about 4 s: 1-511, 0\n"}};
  for (const auto& each : cases) {
    EXPECT_EQ(UpdatePages(each.pages, "--dry-run"), 0);
    EXPECT_EQ(results, each.says);
    EXPECT_EQ(PageWrites(), 0U);
  }
}

TEST_F(UpdateTest, ShowsItsProgressOnATerminalAlone) {
  constexpr long Percents = 100;
  EXPECT_EQ(UpdatePages(AllPages(), ""), 0);
  EXPECT_EQ(messages, "");
  isTerminal = true;
  EXPECT_EQ(UpdatePages(AllPages(), ""), 0);
  EXPECT_TRUE(messages.starts_with("\r\033[Kbrindlectl: 6 of 512 pages, 1 %, ")) << messages;
  EXPECT_TRUE(messages.ends_with(" s left\r\033[K")) << messages;
  EXPECT_TRUE(Says("507 of 512 pages, 99 %, ")) << messages;
  EXPECT_EQ(std::ranges::count(messages, '\r'), Percents) << "a line for each percent";
}

TEST_F(UpdateTest, WritesNothingWhenTheJournalCannotBeKept) {
  bool hasFailed = true;
  for (unsigned int failing = 1; hasFailed; ++failing) {
    SCOPED_TRACE(failing);
    Load(Old());
    unsigned int number = 0;
    std::string failed;
    HostCalls::onCall = [&](const std::string& call) {
      if (call == "read" || ++number != failing) return false;
      failed = call;
      return true;
    };
    const int code = Update(ImageCase());
    HostCalls::Reset();
    hasFailed = !failed.empty();
    EXPECT_EQ(code, hasFailed ? 5 : 0);
    const bool isUntouched = PageWrites() == 0 && !HasJournal();
    EXPECT_TRUE(isUntouched || Holds(New())) << failed;
    EXPECT_TRUE(isUntouched || !hasFailed || Says("updated and compared, but the journal cannot be removed"));
    EXPECT_EQ(Recover(), 0);
    EXPECT_EQ(FileNames(), "other target upgrade ");
  }
}

TEST_F(UpdateTest, FlushesTheJournalBeforeAndAfterItWrites) {
  HostCalls::onCall = [&](const std::string& call) {
    const bool isAfter = PageWrites() > 0;
    if (call != "read") calls += (isAfter ? "then " : "first ") + call + ", ";
    return false;
  };
  EXPECT_EQ(Update(ImageCase()), 0);
  EXPECT_EQ(calls,
            "first create, first write, first flush file, first rename, first flush folder, "
            "then unlink, then flush folder, ");
}

TEST_F(UpdateTest, SaysWhyAJournalCannotBeRead) {
  CutUpdate();
  HostCalls::onCall = [](const std::string& call) { return call == "read"; };
  EXPECT_EQ(Recover(), 5);
  EXPECT_TRUE(Says("journal: Input/output error")) << messages;
  EXPECT_FALSE(Says("whole")) << messages;
}

TEST_F(UpdateTest, EndsWith5WhenTheChipCannotBeRead) {
  const struct {
    const char* line;
    const char* fault;
    const char* says;
  } cases[] = {
      {.line = "list", .fault = "flip:3:0:11", .says = "EEPROM reads differently each time"},
      {.line = "build new --from=board", .fault = "flip:3:0:11", .says = "reads differently each time"},
      {.line = "update --revision=7 --journal=.", .fault = "flip:3:0:11", .says = "reads differently"},
      {.line = "list", .fault = "refuse:10:0", .says = "board: EEPROM not readable"},
      {.line = "check", .fault = "refuse:10:0", .says = "board: EEPROM not readable"},
      {.line = "extract board 3 new", .fault = "refuse:10:0", .says = "EEPROM not readable"}};
  for (const auto& each : cases) {
    Load(Old());
    chip.Add(each.fault);
    EXPECT_EQ(Ctl(each.line), 5) << each.line;
    EXPECT_TRUE(Says(each.says)) << messages;
    EXPECT_TRUE(Holds(Old()));
  }
}

TEST_F(UpdateTest, SaysThatTheBoardIsHeldAfterItsPatienceAlone) {
  unsigned int patience = 0;
  reserve = [&](unsigned int timeout) {
    patience = timeout;
    return nullptr;
  };
  EXPECT_EQ(Ctl("list"), 19);
  EXPECT_TRUE(Says("holds it")) << messages;
  EXPECT_GT(patience, 0U);
  EXPECT_EQ(Ctl("doctor"), 1);
  EXPECT_TRUE(Says("cause: another process holds the board")) << results;
  EXPECT_EQ(patience, 0U) << "doctor waits for nobody";
}

TEST_F(UpdateTest, AnImageIsFlushedBeforeItHasItsName) {
  HostCalls::onCall = [&](const std::string& call) {
    calls += call + ", ";
    return false;
  };
  EXPECT_EQ(Ctl("build new"), 0);
  EXPECT_EQ(calls, "create, write, flush file, rename, flush folder, ");
}

TEST_F(UpdateTest, AnImageIsThereWhenASignalEndsTheProcess) {
  const pid_t child = fork();
  if (child == 0) {
    HostCalls::onCall = [](const std::string& call) {
      if (call == "write") raise(SIGTERM);
      return false;
    };
    _exit(Ctl("build new"));
  }
  int status = 0;
  ASSERT_EQ(waitpid(child, &status, 0), child);
  EXPECT_TRUE(WIFSIGNALED(status));
  EXPECT_EQ(FileNames(), "new other target upgrade ");
  EXPECT_EQ(Ctl("check new"), 0);
}

}  // namespace
