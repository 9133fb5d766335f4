// The commands that work on images: what they print, how they end.
#include <gtest/gtest.h>

#include <filesystem>

#include "content/EepromContent.h"
#include "ctl/CtlRig.h"
#include "support/Catalogue.h"

namespace {

using Catalogue::After, Catalogue::Data, Catalogue::Write;

struct ImageCommands : testing::Test, CtlRig {
  void SetUp() override { std::filesystem::current_path(host / ""); }
};

const Bytes Erased(ChipSize, 0xFF);

// File 1 is at 0x40, file 2 at 0xC0, file 3 at 0x100.
const Bytes Whole = After({Write(0, 100, 1), Write(1, 3, 2), Write(2, 200, 3)});

Bytes Changed(Bytes image, std::size_t address, const Bytes& bytes) {
  std::copy(bytes.begin(), bytes.end(), image.begin() + static_cast<std::ptrdiff_t>(address));
  return image;
}

TEST_F(ImageCommands, ListAnImageAsTextAndAsJson) {
  const Bytes image = Changed(After({{.word = "/W", .file = 1, .host = {'a', 'b', 'c'}},
                                     {.word = "/BS", .value = "300"},
                                     {.word = "/DS", .value = "1"}}),
                              0x4042, {'b'});
  EXPECT_EQ(Ctl("list -", image), 1);
  EXPECT_EQ(results,
            "revision: 300\ndeveloper board: on\nfile 1 (peripheral): reserved, 16384 bytes at 0x0040, room "
            "for 32702 bytes\n"
            "file 2 (upgrade): damaged, 5 bytes at 0x4040, 3 of data, checksum 0x68c7, computed 0x6837, room "
            "for 16318 bytes\n"
            "file 3 (board): absent, room for 16254 bytes\nfree: 32699 bytes\n"
            "problem: file 2 (upgrade) is damaged: stored checksum 0x68c7, computed 0x6837\n");
  EXPECT_EQ(Ctl("list - --json", image), 1);
  std::erase_if(results, [](char character) { return character == ' ' || character == '\n'; });
  EXPECT_EQ(results, R"({"revision":300,"developer":true,"developerByte":165,"files":[)"
                     R"({"type":1,"name":"peripheral","state":"reserved","address":64,"size":16384,)"
                     R"("dataSize":null,"checksum":null,"computedChecksum":null,"room":32702},)"
                     R"({"type":2,"name":"upgrade","state":"damaged","address":16448,"size":5,)"
                     R"("dataSize":3,"checksum":26823,"computedChecksum":26679,"room":16318},)"
                     R"({"type":3,"name":"board","state":"absent","address":null,"size":null,)"
                     R"("dataSize":null,"checksum":null,"computedChecksum":null,"room":16254}],)"
                     R"("freeBytes":32699,"problems":[{"id":"damaged","text":"file2(upgrade)isdamaged:)"
                     R"(storedchecksum0x68c7,computed0x6837","files":[2]}]})");
}

// The three states, then the problems.
std::string Findings(const Bytes& image) {
  const EepromContent content = Examine(image);
  std::string findings;
  for (const FileContent& file : content.files) findings += std::string(StateName(file.state)) + ' ';
  for (const Finding& problem : content.findings) findings += std::string(problem.id) + ' ';
  return findings;
}

TEST_F(ImageCommands, NameStatesAndProblems) {
  const std::tuple<std::size_t, Bytes, const char*> cases[] = {
      {0, {}, "stored stored stored "},
      {3, {0x12}, "stored stored stored developer-flag "},
      {4, {0xFF, 0xFF, 0xFF, 0xFF}, "absent stored stored "},
      {4, {0x40, 0x00, 0x00, 0x40}, "reserved stored stored "},
      {4, {0x40, 0x00, 0x66, 0xFF}, "absent stored stored torn-entry "},
      {8, {0xC0, 0x00, 0x02, 0x00}, "stored empty stored "},
      {8, {0xC0, 0x00, 0x01, 0x00}, "stored damaged stored damaged "},
      {8, {0xC0, 0x00, 0x05, 0xFF}, "stored absent stored torn-entry "},
      {8, {0x00, 0x00, 0x00, 0x00}, "stored absent stored torn-entry "},
      {8, {0x80, 0x00, 0x05, 0x00}, "stored damaged stored damaged overlap "},
      {8, {0x20, 0x00, 0x05, 0x00}, "stored damaged stored damaged below-files "},
      {8, {0x06, 0x00, 0x05, 0x00}, "stored damaged stored damaged below-files over-table "},
      {8, {0xFC, 0x7F, 0x04, 0x00}, "stored damaged stored damaged "},
      {8, {0xFC, 0x7F, 0x05, 0x00}, "stored damaged stored damaged beyond-end "},
      {8, {0xC0, 0x80, 0x05, 0x00}, "stored stored stored beyond-end "},
      {8, {0x40, 0x00, 0x00, 0x40}, "stored damaged stored damaged overlap overlap "},
      {12, {0x00, 0x01, 0x41, 0x7F}, "stored stored damaged damaged beyond-end over-table overlap "},
  };
  for (const auto& [address, bytes, findings] : cases) {
    EXPECT_EQ(Findings(Changed(Whole, address, bytes)), findings) << testing::PrintToString(bytes);
  }
  EXPECT_EQ(Findings(Erased), "absent absent absent ");
  EXPECT_EQ(Findings(Bytes(ChipSize + 1)), "absent absent absent wrong-size ");
  // What Brindle's start makes of file 1 in the reserved place without a table entry.
  EXPECT_EQ(Findings(Catalogue::Eeproms()[7].memory), "stored absent absent ");
  EXPECT_EQ(Findings(Changed(After({Write(0, 16382)}), 4, {0xFF, 0xFF, 0xFF, 0xFF})),
            "damaged absent absent damaged ");
}

TEST_F(ImageCommands, TellEachChangedByteByWhatItBelongsTo) {
  File("image", Whole);
  for (std::size_t at = 0; at < 0x200; ++at) {
    if (at >= 4 && at < 16) continue;  // the table: anything can come of it
    const Bytes changed = Changed(Whole, at, {static_cast<unsigned char>(Whole[at] ^ 0x55)});
    const bool isSetting = at >= 1 && at <= 3;
    const std::string file = at >= 0x40 && at < 0xA6     ? "file 1"
                             : at >= 0xC0 && at < 0xC5   ? "file 2"
                             : at >= 0x100 && at < 0x1CA ? "file 3"
                                                         : "";
    EXPECT_EQ(Ctl("check -", changed), file.empty() && at != 3 ? 0 : 1) << at << results;
    EXPECT_TRUE(file.empty() || results.starts_with("-: " + file)) << at << results;
    EXPECT_EQ(Ctl("diff image -", changed), file.empty() && !isSetting ? 0 : 1) << at << results;
    EXPECT_TRUE(isSetting || results.starts_with(file.empty() ? "same content, different layout\n" : file))
        << at << results;
  }
}

TEST_F(ImageCommands, CompareContentAndNotPlaces) {
  File("one", After({Write(1, 3, 1), Write(2, 300)}));
  EXPECT_EQ(Ctl("diff one -", After({Write(2, 300), Write(1, 3, 1)})), 0);
  EXPECT_EQ(results, "same content, different layout\n");
  EXPECT_EQ(Ctl("diff one one"), 0);
  EXPECT_EQ(results, "");
  File("damaged", Changed(Whole, 0xC0, {1, 2, 3, 4}));
  EXPECT_EQ(Ctl("diff damaged damaged"), 0);
  for (const std::size_t at : {0xC0U, 0xC3U}) {  // the stored checksum, the data
    EXPECT_EQ(Ctl("diff damaged -", Changed(Content("damaged"), at, {9})), 1);
  }
  const Bytes other = After({Write(1, 2, 1), {.word = "/BS", .value = "1"}, {.word = "/DS", .value = "1"}});
  EXPECT_EQ(Ctl("diff one -", other), 1);
  EXPECT_EQ(results,
            "revision: erased and 1\ndeveloper board: erased and on\n"
            "file 2 (upgrade): 3 bytes, checksum 0x2eb7 and 2 bytes, checksum 0x7689\n"
            "file 3 (board): 300 bytes, checksum 0xa9b5 and no file\n");
}

TEST_F(ImageCommands, EndWithNothingDoneWhenTheyFail) {
  File("image", Whole);
  File("empty", {});
  File("small", Data(3, 1));
  File("block", Data(16382, 1));  // has bytes 0xFF
  File("larger", Bytes(ChipSize + 1, 0xFF));
  File("full", Catalogue::Eeproms()[8].memory);
  // The image of file 2 ends in the revision.
  File("wrapped", Changed(Changed(Changed(Erased, 8, {0xFD, 0x7F, 0x05, 0x00}), 0x7FFD, {0xC7, 0x68, 'a'}), 0,
                          {'b', 'c'}));
  const std::tuple<int, std::string, std::vector<std::string>> cases[] = {
      {22, "", {"", "frobnicate", "list image image", "list --frobnicate", "diff image", "build"}},
      {22, "extract image ", {"1", "0 -", "4 -", " -", "1a -", "Board -"}},
      {22, "build new --revision=", {"65536", "-1", "0x", "99999999999999999999", "a --revision=1"}},
      {22, "build new --file=1", {"", "=", "4=small", "=small --file=peripheral=small"}},
      {22, "build new --", {"from", "developer=1", "developer=1 --developer=on"}},
      {22, "update ", {"", "--revision=3 --keep-settings"}},
      {22, "update image --", {"revision=3", "journal= --no-journal"}},
      {5, "build image --file=", {"2=empty", "1=block", "1=larger", "1=missing", "3=block --from=full"}},
      {5, "build image --from=", {"wrapped --revision=7", "missing", "small", "larger"}},
      {5, "", {"extract missing 1 new", "extract small 1 new", "update small --force"}},
      {19, "", {"list", "check board", "extract board 1 -", "build --from=board -", "check image board"}},
  };
  chip.Add(CHIP_FAULT_REFUSE, 1000, 0);
  EXPECT_EQ(Ctl("list"), 5);
  bus.reset();
  for (const auto& [code, start, ends] : cases) {
    for (const std::string& end : ends) {
      EXPECT_EQ(Ctl(start + end), code) << start << end << messages;
      EXPECT_EQ(results, "");
    }
  }
  EXPECT_TRUE(Content("image") == Whole);
  EXPECT_FALSE(std::filesystem::exists("new"));
}

}  // namespace
