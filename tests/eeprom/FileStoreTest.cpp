#include <gmock/gmock.h>

#include <algorithm>
#include <cstdio>

#include "eeprom/PosixEEpromHandler.h"
#include "support/Catalogue.h"
#include "support/Judge.h"

namespace {

using File = EEPromHandler::FilesInEEProm;
using Table = std::array<Entry, Files>;

Table Decode(const std::string& text) {
  Table table;
  std::sscanf(text.c_str(), "%x/%x %x/%x %x/%x", &table[0].address, &table[0].size, &table[1].address,
              &table[1].size, &table[2].address, &table[2].size);
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

// Tables in hexadecimal, address/size of each file; the digits of the readable files; the file to be written
// and the length of its image; the table afterwards, the same where the write is refused.
const std::tuple<const char*, std::string, std::string, unsigned int, unsigned int, std::string>
    PlacementCases[] = {
        {"LowerNumberAboveMovesToMakeRoomForAFollower", "7000/f00 1000/100 2000/200", "123", 2, 0x180,
         "1180/f00 1000/180 2080/200"},
        {"SameSizeOverAReadableFileGoesElsewhere", "5000/100 ffff/ffff 4040/1000", "1", 3, 0x1000,
         "5000/100 ffff/ffff 5100/1000"},
        {"FileKeptModuloTheDeviceBlocksAWriteInPlace", "40/20 8100/40 c0/41", "12", 3, 0x41,
         "40/20 8100/40 c0/41"},
        {"UnrelatedTornEntryStays", "40/4000 8/ff00 ffff/ffff", "", 3, 0x3FC1, "40/4000 8/ff00 ffff/ffff"},
        {"BeyondTheEndOverAnotherFile", "40/100 ffff/ffff 7000/100", "1", 3, 0x1800,
         "40/100 ffff/ffff 7000/100"},
        {"TornEntryLeavesTheReservedPlaceAlone", "40/4000 ff40/ffff ffff/ffff", "", 3, 10,
         "40/4000 ff40/ffff 4040/a"},
        {"TornEntryDoesNotLeadIntoTheReservedPlace", "40/4000 4040/ff66 ffff/ffff", "", 3, 102,
         "40/4000 4040/ff66 4040/66"},
};

TEST_F(FileStoreTest, PlacesAFileWhereTheUsualPlaceDoesNotServe) {
  for (const auto& [name, before, readable, file, length, after] : PlacementCases) {
    const Bytes memory = Contents(Decode(before), readable);
    EXPECT_EQ(RunAndJudge(*this, memory, Catalogue::Write(file - 1, length - 2)), "") << name;
    EXPECT_EQ(StoreModel(Memory()).table, Decode(after)) << name;
    EXPECT_EQ(Memory() == memory, before == after) << name;
  }
}

// A peripheral configuration file of which nothing would be left is not listed.
TEST_F(FileStoreTest, ReservesWithoutWritingWhereNothingCanBeListed) {
  Bytes data = Catalogue::Data(0x4000 - 2, 1);
  while (StoreModel::Image(data)[0] != 0xFF) ++data[1000];
  std::ranges::copy(StoreModel::Image(data), chip.Memory().begin() + 0x40);
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
  // The neighbour's address twice, the second transfer of its image, the other neighbour's address twice.
  for (const auto& [message, count] : {std::pair{1U, 2U}, {3U, 1U}, {5U, 2U}}) {
    auto store = Open();
    chip.ClearFaults();
    chip.Add(CHIP_FAULT_REFUSE, chip.Model().messages + message, count);
    EXPECT_FALSE(store.Write(File::PeripheralConfig, Catalogue::Data(100, 1))) << message;
    EXPECT_TRUE(Holds(before));
    EXPECT_EQ(chip.Model().page_writes, 0U);
  }
  chip.ClearFaults();
  auto store = Open();
  chip.Add(CHIP_FAULT_FLIP, chip.Model().messages + 2);
  EXPECT_TRUE(store.Write(File::PeripheralConfig, Catalogue::Data(70, 1)));
  EXPECT_EQ(StoreModel(Memory()).contents[1], StoreModel(before).contents[1]) << "read wrongly once";
}

// A foreign table can describe a file that is longer than the device: the chip's addresses wrap.
TEST_F(FileStoreTest, VerifiesWhatItReadsOfAFileLongerThanTheDevice) {
  Bytes memory = Contents({{{}, {}, {0x40, 0x8003}}}, "");
  // The last three bytes of the image are its first; the two before them make its checksum right.
  Bytes data(memory.begin() + 0x42, memory.end());
  data.insert(data.end(), memory.begin(), memory.begin() + 0x3E);
  const unsigned int before = StoreModel::Checksum(data);
  const unsigned int wanted = memory[0x40] + 256U * memory[0x41];
  for (unsigned int word = 0; StoreModel::Checksum({&memory[0x3E], 5}, before) != wanted; ++word) {
    memory[0x3E] = static_cast<unsigned char>(word);
    memory[0x3F] = static_cast<unsigned char>(word >> 8);
  }
  data = StoreModel(memory).contents[2].value();
  EXPECT_GT(data.size(), ChipSize);
  EXPECT_EQ(RunAndJudge(*this, memory, {.word = "/R", .file = 2}), "");
  EXPECT_EQ(RunAndJudge(*this, memory, {.word = "/V", .file = 2, .host = data}), "");
}

TEST_F(FileStoreTest, KeepsToTheFourBoardBytesAndTheThreeFiles) {
  auto store = Open();
  EXPECT_TRUE(store.WordSet(1, 0x1234));
  EXPECT_TRUE(store.ByteSet(0, 0x56));
  EXPECT_TRUE(store.ByteSet(3, "1Fg", 16));
  const Bytes memory = Memory();
  EXPECT_EQ(Bytes(memory.begin(), memory.begin() + 5), (Bytes{0x56, 0x34, 0x12, 0x1F, 0xFF}));
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
