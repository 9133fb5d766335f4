// The commands of brindlectl that work on images, run in process: what they print, how they end, what they
// leave.
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/stat.h>

#include <csignal>
#include <filesystem>
#include <map>
#include <sstream>

#include "ctl/CommandLine.h"
#include "ctl/EepromContent.h"
#include "support/TempDirectory.h"

namespace {

struct Result {
  int code;
  std::string output;
  std::string messages;
};

std::string Text(std::size_t size, char last = 'z') {
  std::string text(size, 'x');
  if (size > 0) text.back() = last;
  return text;
}

class ImageCommands : public ::testing::Test {
 protected:
  Result Run(std::vector<std::string> const& words, std::string const& inputText = "") const {
    std::istringstream input(inputText);
    std::ostringstream output;
    std::ostringstream messages;
    std::vector<char const*> argv = {"brindlectl"};
    for (std::string const& word : words) argv.push_back(word.c_str());
    const int code = RunCommandLine(static_cast<int>(argv.size()), argv.data(),
                                    {input, output, messages, [] { return nullptr; }});
    return {code, output.str(), messages.str()};
  }

  // An image of these files, as `build` makes it.
  std::string Image(std::vector<std::string> const& options) const {
    std::vector<std::string> words = {"build", "-"};
    words.insert(words.end(), options.begin(), options.end());
    Result result = Run(words);
    EXPECT_EQ(result.code, 0) << result.messages;
    return result.output;
  }

  std::string File(std::string const& type, std::string const& content) const {
    return "--file=" + type + "=" + folder.File("file" + std::to_string(++files), content);
  }

  TempDirectory folder;
  mutable int files = 0;
};

TEST_F(ImageCommands, ListAnErasedImage) {
  const Result result = Run({"list", "-"}, std::string(32768, '\xFF'));
  EXPECT_EQ(result.code, 0);
  EXPECT_EQ(result.output,
            "revision: erased\ndeveloper board: erased\nfile 1 (peripheral): absent\n"
            "file 2 (upgrade): absent\nfile 3 (board): absent\nfree: 32704 bytes\n");
}

TEST_F(ImageCommands, ListAsJson) {
  std::string image = Image({File("2", "abc"), "--revision=0x12c", "--developer=on"});
  image[0x4042] = 'b';
  const Result result = Run({"list", "-", "--json"}, image);
  EXPECT_EQ(result.code, 1);
  std::string compact = result.output;
  std::erase_if(compact, [](char character) { return character == ' ' || character == '\n'; });
  EXPECT_EQ(compact, R"({"revision":300,"developer":true,"developerByte":165,"files":[)"
                     R"({"type":1,"name":"peripheral","state":"reserved","address":64,"size":16384,)"
                     R"("dataSize":null,"checksum":null,"computedChecksum":null},)"
                     R"({"type":2,"name":"upgrade","state":"damaged","address":16448,"size":5,)"
                     R"("dataSize":3,"checksum":26823,"computedChecksum":26679},)"
                     R"({"type":3,"name":"board","state":"absent","address":null,"size":null,)"
                     R"("dataSize":null,"checksum":null,"computedChecksum":null}],)"
                     R"("freeBytes":32699,"problems":[{"id":"damaged","text":"file2(upgrade)isdamaged:)"
                     R"(storedchecksum0x68c7,computed0x6837","files":[2]}]})");
}

// What `list` finds: the three states, then the problems.
std::string Findings(std::string const& image) {
  const EepromContent content = Inspect({reinterpret_cast<unsigned char const*>(image.data()), image.size()});
  std::string findings;
  for (FileContent const& file : content.files) findings += std::string(StateName(file.state)) + ' ';
  for (Problem const& problem : content.problems) findings += std::string(problem.id) + ' ';
  return findings;
}

TEST_F(ImageCommands, NameStatesAndProblems) {
  using namespace std::string_literals;
  const std::string whole = Image({File("1", Text(100)), File("2", "abc"), File("3", Text(200))});
  struct {
    std::size_t address;
    std::string bytes;
    char const* findings;
  } const cases[] = {
      {3, "\x00"s, "stored stored stored "},
      {3, "\x12", "stored stored stored developer-flag "},
      {4, "\xFF\xFF\xFF\xFF", "absent stored stored "},
      {4, "\x40\x00\x00\x40"s, "reserved stored stored "},
      {4, "\x40\x00\x66\xFF"s, "absent stored stored torn-entry "},
      {8, "\xC0\x00\x02\x00"s, "stored empty stored "},
      {8, "\xC0\x00\x01\x00"s, "stored damaged stored damaged "},
      {8, "\xC0\x00\x05\xFF"s, "stored absent stored torn-entry "},
      {8, "\xC0\x00\x00\x00"s, "stored absent stored torn-entry "},
      {8, "\x00\x00\x00\x00"s, "stored absent stored torn-entry "},
      {8, "\xFF\xFF\x05\x00"s, "stored absent stored torn-entry "},
      {8, "\x80\x00\x05\x00"s, "stored damaged stored damaged overlap "},
      {8, "\x20\x00\x05\x00"s, "stored damaged stored damaged below-files "},
      {8, "\x06\x00\x05\x00"s, "stored damaged stored damaged below-files over-table "},
      {8, "\xFC\x7F\x04\x00"s, "stored damaged stored damaged "},
      {8, "\xFC\x7F\x05\x00"s, "stored damaged stored damaged beyond-end "},
      {8, "\xC0\x80\x05\x00"s, "stored stored stored beyond-end "},
      {8, "\x40\x00\x00\x40"s, "stored damaged stored damaged overlap overlap "},
      {12, "\x00\x01\x10\x7F"s, "stored stored damaged damaged beyond-end over-table "},
      {12, "\x00\x01\x41\x7F"s, "stored stored damaged damaged beyond-end over-table overlap "},
      {0xC2, "b", "stored damaged stored damaged "},
      {0x1C9, "y", "stored stored damaged damaged "},
      {0xC5, "y", "stored stored stored "},
  };
  EXPECT_EQ(Findings(whole), "stored stored stored ");
  for (auto const& [address, bytes, findings] : cases) {
    std::string image = whole;
    EXPECT_EQ(Findings(image.replace(address, bytes.size(), bytes)), findings)
        << "at " << address << ": " << testing::PrintToString(bytes);
  }
  EXPECT_EQ(Findings(whole + "x"), "absent absent absent wrong-size ");
  EXPECT_EQ(Findings(""), "absent absent absent wrong-size ");
}

TEST_F(ImageCommands, TakeFile1InTheReservedPlaceForWhatBrindleMakesOfIt) {
  const std::string listed = Image({File("1", Text(16382))});
  EXPECT_EQ(listed.substr(4, 12), std::string(12, '\xFF'));
  EXPECT_EQ(Findings(listed), "stored absent absent ");

  const std::string other = Image({File("1", "abc"), File("2", Text(16382, '\xFF'))});
  std::string cut(32768, '\xFF');
  cut.replace(0x40, 16384, other, 0x80, 16384);
  EXPECT_EQ(Findings(cut), "damaged absent absent damaged ");
  EXPECT_NE(Run({"list", "-"}, cut).output.find("damaged, 16383 bytes at 0x0040"), std::string::npos);
}

TEST_F(ImageCommands, TellEachChangedByteByWhatItBelongsTo) {
  const std::string image = Image(
      {File("1", Text(100)), File("2", "abc"), File("3", Text(200)), "--revision=7", "--developer=off"});
  const std::string path = folder.File("image", image);
  for (std::size_t at = 0; at < 0x200; ++at) {
    if (at >= 4 && at < 16) continue;  // the table: anything can come of it
    std::string changed = image;
    changed[at] = static_cast<char>(changed[at] ^ 0x55);
    const Result diff = Run({"diff", path, "-"}, changed);
    const Result check = Run({"check", "-"}, changed);
    const char file = at >= 0x40 && at < 0xA6     ? '1'
                      : at >= 0xC0 && at < 0xC5   ? '2'
                      : at >= 0x100 && at < 0x1CA ? '3'
                                                  : 0;
    const bool isSetting = at >= 1 && at <= 3;
    EXPECT_EQ(diff.code, file != 0 || isSetting ? 1 : 0) << at << diff.output;
    EXPECT_EQ(check.code, file != 0 || at == 3 ? 1 : 0) << at << check.output;
    if (file != 0) {
      EXPECT_EQ(diff.output.substr(0, 6), std::string("file ") + file) << at;
      EXPECT_EQ(check.output.substr(0, 9), std::string("-: file ") + file) << at;
    } else if (!isSetting) {
      EXPECT_EQ(diff.output, "same content, different layout\n") << at;
    }
  }
}

TEST_F(ImageCommands, CompareContentAndNotPlaces) {
  const std::string third = folder.File("third", Image({File("3", Text(300))}));
  const std::string inOrder = folder.File("a", Image({File("2", "abc"), File("3", Text(300))}));
  const std::string otherOrder = folder.File("b", Image({"--from", third, File("2", "abc")}));
  EXPECT_NE(ContentOf(inOrder), ContentOf(otherOrder));
  EXPECT_EQ(Run({"diff", inOrder, otherOrder}).output, "same content, different layout\n");
  EXPECT_EQ(Run({"diff", inOrder, inOrder}).output, "");
  for (const std::size_t at : {0x4040U, 0x4042U}) {  // in the stored checksum, and in the data
    std::string damaged = ContentOf(inOrder);
    damaged[at] = 'q';
    const std::string path = folder.File("damaged", damaged);
    EXPECT_EQ(Run({"diff", path, path}).code, 0);
    damaged[at] = 'r';
    EXPECT_EQ(Run({"diff", path, "-"}, damaged).code, 1);
  }
  const Result different =
      Run({"diff", inOrder, "-"}, Image({File("2", "ab"), "--revision=1", "--developer=on"}));
  EXPECT_EQ(different.code, 1);
  EXPECT_EQ(different.output,
            "revision: erased and 1\ndeveloper board: erased and on\n"
            "file 2 (upgrade): 3 bytes, checksum 0x68c7 and 2 bytes, checksum 0x8657\n"
            "file 3 (board): 300 bytes, checksum 0x7303 and no file\n");
}

TEST_F(ImageCommands, ExtractWhatWasBuilt) {
  const std::string contents[] = {Text(16382), "a", Text(8000, '\xFF')};
  const std::string image = folder.File(
      "image", Image({File("board", contents[2]), File("2", contents[1]), File("peripheral", contents[0])}));
  for (std::string const type : {"1", "0x2", "003"}) {
    std::string const& content = contents[type.back() - '1'];
    EXPECT_EQ(Run({"extract", image, type, "-"}).output, content);
    EXPECT_EQ(Run({"extract", image, type, folder / "out"}).code, 0);
    EXPECT_EQ(ContentOf(folder / "out"), content);
  }
}

TEST_F(ImageCommands, ExtractNeitherAbsentNorDamagedFiles) {
  std::string image = Image({File("2", "abc")});
  image[0x4042] = 'b';
  for (auto const& [type, reason] :
       std::map<std::string, std::string>{{"1", "file 1 (peripheral) is reserved"},
                                          {"2", "file 2 (upgrade) is damaged"},
                                          {"3", "file 3 (board) is absent"}}) {
    const Result result = Run({"extract", "-", type, folder / "out"}, image);
    EXPECT_EQ(result.code, 5);
    EXPECT_EQ(result.messages, "brindlectl: " + reason + "\n");
  }
  EXPECT_FALSE(std::filesystem::exists(folder / "out"));
}

TEST_F(ImageCommands, BuildNothingThatCannotBeReadBack) {
  const std::string image = folder.File("image", "as it was");
  const std::string full = folder.File("full", Image({File("1", Text(16000)), File("2", Text(16000))}));
  std::string wrapped(32768, '\xFF');  // the image of file 2 ends in the revision
  wrapped.replace(8, 4, "\xFD\x7F\x05\x00", 4)
      .replace(0x7FFD, 3,
               "\xC7\x68"
               "a")
      .replace(0, 2, "bc");
  const std::vector<std::vector<std::string>> cases = {
      {"--from", folder.File("wrapped", wrapped), "--revision=7"},
      {File("2", "")},
      {File("1", Text(16382, '\xFF'))},
      {File("1", Text(32768))},
      {"--from", full, File("3", Text(1000))},
      {"--from", full, File("1", Text(17000))},
      {"--from", folder / "missing"},
      {"--from", image},
      {"--file=1=" + folder / "missing"},
  };
  for (std::vector<std::string> words : cases) {
    words.insert(words.begin(), {"build", image});
    const Result result = Run(words);
    EXPECT_EQ(result.code, 5) << testing::PrintToString(words);
    EXPECT_EQ(result.messages.substr(0, 12), "brindlectl: ");
    EXPECT_EQ(ContentOf(image), "as it was");
  }
}

TEST_F(ImageCommands, ReplaceAnImageAtOnce) {
  const std::string image = folder.File("image", "old");
  chmod(image.c_str(), 0640);
  std::filesystem::create_hard_link(image, folder / "old");
  std::filesystem::create_symlink("image", folder / "link");
  EXPECT_EQ(Run({"build", folder / "link"}).code, 0);
  EXPECT_TRUE(std::filesystem::is_symlink(folder / "link"));
  EXPECT_EQ(ContentOf(image), std::string(32768, '\xFF'));
  EXPECT_EQ(ContentOf(folder / "old"), "old");
  EXPECT_EQ(std::filesystem::status(image).permissions(), std::filesystem::perms(0640));
  const std::filesystem::path root = std::filesystem::path(image).parent_path();
  EXPECT_EQ(std::distance(std::filesystem::directory_iterator(root), {}), 3);

  // As on a full disk: nothing is left over.
  rlimit unlimited{};
  getrlimit(RLIMIT_FSIZE, &unlimited);
  const rlimit small = {100, unlimited.rlim_max};
  std::signal(SIGXFSZ, SIG_IGN);
  setrlimit(RLIMIT_FSIZE, &small);
  EXPECT_EQ(Run({"build", image, "--revision=1"}).code, 5);
  setrlimit(RLIMIT_FSIZE, &unlimited);
  EXPECT_EQ(ContentOf(image), std::string(32768, '\xFF'));
  EXPECT_EQ(std::distance(std::filesystem::directory_iterator(root), {}), 3);

  EXPECT_EQ(Run({"build", root}).code, 5);
  EXPECT_EQ(Run({"build", folder / "missing/image"}).code, 5);
  mkfifo((folder / "pipe").c_str(), 0600);
  EXPECT_EQ(Run({"build", folder / "pipe"}).code, 5);
  EXPECT_TRUE(std::filesystem::is_fifo(folder / "pipe"));
}

TEST_F(ImageCommands, RefuseBadArguments) {
  const std::string image = folder.File("image", Image({File("1", "abc")}));
  const std::string file = "=" + folder / "file1";
  const std::vector<std::vector<std::string>> cases = {
      {},
      {"frobnicate"},
      {"list", image, image},
      {"list", "--frobnicate"},
      {"diff", image},
      {"extract", image, "1"},
      {"extract", image, "0", "-"},
      {"extract", image, "4", "-"},
      {"extract", image, "", "-"},
      {"extract", image, "1a", "-"},
      {"extract", image, " 1", "-"},
      {"extract", image, "Board", "-"},
      {"build"},
      {"build", folder / "new", "--revision=65536"},
      {"build", folder / "new", "--revision=-1"},
      {"build", folder / "new", "--revision=0x"},
      {"build", folder / "new", "--revision=12abc"},
      {"build", folder / "new", "--revision=99999999999999999999"},
      {"build", folder / "new", "--developer=1"},
      {"build", folder / "new", "--file=1"},
      {"build", folder / "new", "--file=1="},
      {"build", folder / "new", "--file=4" + file},
      {"build", folder / "new", "--file=1" + file, "--file=peripheral" + file},
      {"build", folder / "new", "--from"},
  };
  for (std::vector<std::string> const& words : cases) {
    const Result result = Run(words);
    EXPECT_EQ(result.code, 22) << testing::PrintToString(words);
    EXPECT_EQ(result.output, "");
  }
  EXPECT_FALSE(std::filesystem::exists(folder / "new"));
}

TEST_F(ImageCommands, EndWith19WithoutABoard) {
  for (std::vector<std::string> const& words : std::vector<std::vector<std::string>>{
           {"list"}, {"check", "board"}, {"extract", "board", "1", "-"}, {"build", "--from=board", "-"}}) {
    const Result result = Run(words);
    EXPECT_EQ(result.code, 19);
    EXPECT_EQ(result.output, "");
  }
}

TEST_F(ImageCommands, GoOnCheckingAfterASourceThatCannotBeRead) {
  const std::string image = folder.File("image", Image({}));
  const Result result = Run({"check", folder / "missing", image, folder.File("short", "abc")});
  EXPECT_EQ(result.code, 5);
  EXPECT_EQ(result.output, folder / "short: the image has 3 bytes instead of 32768\n");
  EXPECT_EQ(Run({"check", image, "board"}).code, 19);
  EXPECT_EQ(Run({"check", "-"}, std::string(32769, '\xFF')).code, 1);
}

TEST_F(ImageCommands, FailWhenTheirOutputIsNotTaken) {
  std::istringstream input(std::string(32768, '\xFF'));
  std::ostream closed(nullptr);
  std::ostringstream messages;
  char const* const argv[] = {"brindlectl", "list", "-"};
  EXPECT_EQ(RunCommandLine(3, argv, {input, closed, messages, nullptr}), 5);
}

}  // namespace
