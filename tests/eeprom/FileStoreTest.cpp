#include <gmock/gmock.h>

#include <algorithm>
#include <sstream>

#include "eeprom/PosixEEpromHandler.h"
#include "support/Catalogue.h"
#include "support/Judge.h"

namespace {

using File = EEPromHandler::FilesInEEProm;
using Table = std::array<Entry, Files>;

// Decodes an entry in hexadecimal: "address/size".
Entry DecodeEntry(const std::string& text) {
  std::size_t slash = 0;
  const unsigned long address = std::stoul(text, &slash, 16);
  const unsigned long size = std::stoul(text.substr(slash + 1), nullptr, 16);
  return {static_cast<unsigned int>(address), static_cast<unsigned int>(size)};
}

// Decodes the three entries of a table.
Table Decode(const std::string& text) {
  std::istringstream words(text);
  Table table;
  for (Entry& entry : table) {
    std::string word;
    words >> word;
    entry = DecodeEntry(word);
  }
  return table;
}

// Any bytes with this table; the files whose numbers are among the digits get a correct checksum.
Bytes Contents(const Table& table, const std::string& readable) {
  Bytes memory = Catalogue::Data(ChipSize, 1);
  StoreModel::PutTable(memory, table);
  for (const char digit : readable) {
    Catalogue::MakeReadable(memory, table[static_cast<std::size_t>(digit - '1')]);
  }
  return memory;
}

// A refused message is a failed transfer.
class FileStoreTest : public testing::Test, public Rig {
 protected:
  FileStoreTest() : Rig(1) {}
  using Rig::Run;

  PosixEEpromHandler Open() const { return {EEPromHelper::EEPromLocation::BaseboardDefault, bus}; }
};

struct Placement {
  const char* name;
  std::string before;    // the table in hexadecimal, address/size of each file
  std::string readable;  // the digits of the files that are
  unsigned int file;     // to be written
  unsigned int length;   // of its image
  std::string after;     // the table; the same as before where the write is refused
};

const Placement Placements[] = {{.name = "LowerNumberAboveMovesToMakeRoomForAFollower",
                                 .before = "7000/f00 1000/100 2000/200",
                                 .readable = "123",
                                 .file = 2,
                                 .length = 0x180,
                                 .after = "1180/f00 1000/180 2080/200"},
                                {.name = "LowerNumberAboveMovesOutOfTheWay",
                                 .before = "40/40 140/40 100/40",
                                 .readable = "123",
                                 .file = 3,
                                 .length = 0x60,
                                 .after = "40/40 180/40 100/60"},
                                {.name = "NobodyMovesWhereThatDoesNotHelp",
                                 .before = "e0/40 200/40 100/40",
                                 .readable = "12",
                                 .file = 3,
                                 .length = 0x60,
                                 .after = "e0/40 200/40 240/60"},
                                {.name = "SameSizeOverAReadableFileGoesElsewhere",
                                 .before = "5000/100 ffff/ffff 4040/1000",
                                 .readable = "1",
                                 .file = 3,
                                 .length = 0x1000,
                                 .after = "5000/100 ffff/ffff 5100/1000"},
                                {.name = "FileKeptModuloTheDeviceBlocksAWriteInPlace",
                                 .before = "40/20 8100/40 c0/41",
                                 .readable = "12",
                                 .file = 3,
                                 .length = 0x41,
                                 .after = "40/20 8100/40 c0/41"},
                                {.name = "PlaceBeyondTheEndOverAReadableFile",
                                 .before = "40/100 ffff/ffff 8040/20",
                                 .readable = "1",
                                 .file = 3,
                                 .length = 0x20,
                                 .after = "40/100 ffff/ffff 8040/20"},
                                {.name = "BeyondTheEndOverAnotherFile",
                                 .before = "40/100 ffff/ffff 7000/100",
                                 .readable = "1",
                                 .file = 3,
                                 .length = 0x1800,
                                 .after = "40/100 ffff/ffff 7000/100"},
                                {.name = "TornEntryLeavesTheReservedPlaceAlone",
                                 .before = "40/4000 ff40/ffff ffff/ffff",
                                 .readable = "",
                                 .file = 3,
                                 .length = 10,
                                 .after = "40/4000 ff40/ffff 4040/a"},
                                {.name = "TornEntryDoesNotLeadIntoTheReservedPlace",
                                 .before = "40/4000 4040/ff66 ffff/ffff",
                                 .readable = "",
                                 .file = 3,
                                 .length = 0x66,
                                 .after = "40/4000 4040/ff66 4040/66"}};

TEST_F(FileStoreTest, PlacesAFileWhereTheUsualPlaceDoesNotServe) {
  for (const Placement& row : Placements) {
    SCOPED_TRACE(row.name);
    const Bytes memory = Contents(Decode(row.before), row.readable);
    const Command write = Catalogue::Write(row.file - 1, row.length - 2);
    EXPECT_EQ(RunAndJudge(*this, memory, write), "");
    EXPECT_EQ(StoreModel(Memory()).table, Decode(row.after));
    EXPECT_EQ(Memory() == memory, row.before == row.after);
  }
}

// A peripheral configuration file of which nothing would be left is not listed.
TEST_F(FileStoreTest, ReservesWithoutWritingWhereNothingCanBeListed) {
  Bytes data = Catalogue::Data(ReservedEntry.size - 2, 1);
  while (StoreModel::Image(data)[0] != 0xFF) {
    ++data[1000];
  }
  const Bytes image = StoreModel::Image(data);
  std::ranges::copy(image, chip.Memory().begin() + ReservedEntry.address);
  const auto store = Open();
  EXPECT_EQ(store.GetFileStartAddress(File::PeripheralConfig), 0x40);
  EXPECT_EQ(store.GetFileStartAddress(File::UpgradeFile), 0x4040);
  EXPECT_EQ(store.Table()[File::PeripheralConfig], FileAllocationTable::Reservation);
  EXPECT_EQ(chip.Model().page_writes, 0U);
  chip.Add("refuse:3:2");
  EXPECT_EQ(Open().GetFileStartAddress(File::UpgradeFile), 0x40) << "the table could not be read";
}

// A neighbour that was not delivered may be a good file: it is not taken for a damaged one.
TEST_F(FileStoreTest, RefusesAWriteWhoseNeighbourCannotBeRead) {
  const Bytes before = Contents({{{0x40, 32}, {0x80, 32}, {0xC0, 32}}}, "123");
  Load(before);
  struct Refusal {
    const char* of;
    unsigned int message;  // counted from the write
    unsigned int count;
  };
  constexpr Refusal Refusals[] = {{.of = "the neighbour's address", .message = 1, .count = 2},
                                  {.of = "the second transfer of its image", .message = 3, .count = 1},
                                  {.of = "the other neighbour's address", .message = 5, .count = 2}};
  for (const Refusal& row : Refusals) {
    SCOPED_TRACE(row.of);
    auto store = Open();
    chip.ClearFaults();
    chip.Add(CHIP_FAULT_REFUSE, chip.Model().messages + row.message, row.count);
    EXPECT_FALSE(store.Write(File::PeripheralConfig, Catalogue::Data(100, 1)));
    EXPECT_TRUE(Holds(before));
    EXPECT_EQ(chip.Model().page_writes, 0U);
  }
  chip.ClearFaults();
  auto store = Open();
  chip.Add(CHIP_FAULT_FLIP, chip.Model().messages + 2);
  EXPECT_TRUE(store.Write(File::PeripheralConfig, Catalogue::Data(70, 1)));
  const StoreModel after(Memory());
  EXPECT_EQ(after.contents[1], StoreModel(before).contents[1]) << "read wrongly once";
}

TEST_F(FileStoreTest, ReadsNothingOfAFileThatTheTableDoesNotDescribe) {
  constexpr Entry WithoutSize = {0x80, 0xFFFF};
  constexpr Entry WithoutPlace = {3, 32};
  Load(Contents({{{0x40, 32}, WithoutSize, WithoutPlace}}, "1"));
  const auto store = Open();
  const auto before = chip.Model().messages;
  EXPECT_TRUE(store.ReadCurrentFile(File::UpgradeFile).empty());
  EXPECT_TRUE(store.ReadCurrentFile(File::BoardConfig).empty());
  EXPECT_EQ(chip.Model().messages, before);
}

TEST_F(FileStoreTest, KeepsToTheFourBoardBytesAndTheThreeFiles) {
  auto store = Open();
  EXPECT_TRUE(store.WordSet(1, 0x1234));
  EXPECT_TRUE(store.ByteSet(0, 0x56));
  EXPECT_TRUE(store.ByteSet(3, "1Fg", 16));
  const Bytes memory = Memory();
  const Bytes beginning(memory.begin(), memory.begin() + 5);
  EXPECT_THAT(beginning, testing::ElementsAre(0x56, 0x34, 0x12, 0x1F, 0xFF));
  EXPECT_EQ(store.WordGet(2), 0x1F12);
  EXPECT_EQ(store.ByteGet(3), 0x1F);
  const auto before = chip.Model().messages;
  EXPECT_FALSE(store.WordSet(3, 0));
  EXPECT_FALSE(store.WordSet(0xFFFF, 0));
  EXPECT_FALSE(store.ByteSet(4, 0));
  EXPECT_EQ(store.WordGet(3), 0);
  EXPECT_EQ(store.ByteGet(4), 0);
  EXPECT_FALSE(store.WordSet(3, "5", 10));
  EXPECT_FALSE(store.DeveloperBoardSet(4, "1"));
  EXPECT_TRUE(store.ReadCurrentFile(static_cast<File>(3)).empty());
  EXPECT_FALSE(store.Write(static_cast<File>(3), Bytes{1}));
  EXPECT_EQ(chip.Model().messages, before);
}

// Notes what its numeric setters are given, and sets nothing.
class NotingStore final : public PosixEEpromHandler {
 public:
  using PosixEEpromHandler::ByteSet;
  using PosixEEpromHandler::PosixEEpromHandler;
  using PosixEEpromHandler::WordSet;

  bool ByteSet(unsigned short address, unsigned char value) override { return Note("byte", address, value); }
  bool WordSet(unsigned short address, unsigned short value) override { return Note("word", address, value); }

  std::vector<std::string> notes;

 private:
  bool Note(const std::string& kind, unsigned int address, unsigned int value) {
    notes.push_back(kind + " " + std::to_string(address) + " = " + std::to_string(value));
    return true;
  }
};

TEST_F(FileStoreTest, SetsTextsByTheNumericSettersOfADerivedStore) {
  NotingStore store(EEPromHelper::EEPromLocation::BaseboardDefault, bus);
  EXPECT_TRUE(store.ByteSet(9, "12", 10));
  EXPECT_TRUE(store.WordSet(9, "ff", 16));
  EXPECT_TRUE(store.BaseboardIdSet(1, "70000"));
  EXPECT_TRUE(store.DeveloperBoardSet(3, "1"));
  EXPECT_TRUE(store.DeveloperBoardSet(3, "0"));
  EXPECT_THAT(store.notes, testing::ElementsAre("byte 9 = 12", "word 9 = 255", "word 1 = 4464",
                                                "byte 3 = 165", "byte 3 = 0"));
  EXPECT_EQ(chip.Model().page_writes, 0U);
}

}  // namespace
