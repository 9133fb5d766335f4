#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <algorithm>
#include <fstream>
#include <numeric>
#include <thread>

#include "eeprom/ImageChecksum.h"
#include "eeprom/PosixEEpromHandler.h"
#include "support/ModelBus.h"
#include "support/SlotOrder.h"
#include "support/TempDirectory.h"

namespace {

using Bytes = std::vector<unsigned char>;
using File = EEPromHandler::FilesInEEProm;
using Location = EEPromHelper::EEPromLocation;
using testing::ElementsAre;

constexpr File Peripheral = File::PeripheralConfig;
constexpr File Upgrade = File::UpgradeFile;
constexpr File Board = File::BoardConfig;
constexpr std::size_t DeviceSize = 0x8000;

Bytes Counting(std::size_t length, int first = 1) {
  Bytes bytes(length);
  std::iota(bytes.begin(), bytes.end(), static_cast<unsigned char>(first));
  return bytes;
}

Bytes Image(Bytes const& data) {
  const unsigned short checksum = ImageChecksum(data);
  Bytes image(data.size() + 2);
  image[0] = static_cast<unsigned char>(checksum);
  image[1] = static_cast<unsigned char>(checksum >> 8);
  std::ranges::copy(data, image.begin() + 2);
  return image;
}

// An EEPROM whose bytes the test lays down, and stores on it. A refused message is a failed transfer.
class FileStoreTest : public testing::Test {
 protected:
  std::unique_ptr<PosixEEpromHandler> Open() {
    return std::make_unique<PosixEEpromHandler>(Location::BaseboardDefault,
                                                std::make_shared<ModelBus>(wire, 1));
  }

  void Put(std::size_t address, Bytes const& bytes) {
    for (std::size_t i = 0; i < bytes.size(); ++i) chip.Memory()[(address + i) % DeviceSize] = bytes[i];
  }
  void PutEntry(File file, unsigned int address, std::size_t size) {
    Put(4 + 4 * static_cast<std::size_t>(file),
        {static_cast<unsigned char>(address), static_cast<unsigned char>(address >> 8),
         static_cast<unsigned char>(size), static_cast<unsigned char>(size >> 8)});
  }
  void PutFile(File file, unsigned int address, Bytes const& data) {
    PutEntry(file, address, data.size() + 2);
    Put(address, Image(data));
  }

  [[nodiscard]] Bytes At(std::size_t address, std::size_t length) const {
    const auto bytes = chip.Memory().subspan(address, length);
    return {bytes.begin(), bytes.end()};
  }
  [[nodiscard]] Bytes Table() const { return At(4, 12); }
  [[nodiscard]] Bytes Memory() const { return At(0, DeviceSize); }

  // What a later run finds, without the two checksum bytes.
  Bytes Stored(File file) {
    Bytes image = Open()->ReadCurrentFile(file);
    if (!image.empty()) image.erase(image.begin(), image.begin() + 2);
    return image;
  }

  // Refuses messages from the `number`-th of those to come.
  void Refuse(unsigned int number, unsigned int count) {
    chip.ClearFaults();
    chip.Add(CHIP_FAULT_REFUSE, chip.Model().messages + number, count);
  }

  std::string Make(char const* name, Bytes const& content) const {
    return host.File(name, {content.begin(), content.end()});
  }

  EmulatedChip chip;
  ModelWire wire{&chip};
  TempDirectory host;
};

// --- opening ---

TEST_F(FileStoreTest, ReadsNoFileThatIsEmptyOrDamaged) {
  struct Case {
    char const* what;
    unsigned int address;
    Bytes image;
    std::size_t size;
  };
  const Case cases[] = {{"two bytes", 0x40, {0xFF, 0xFF}, 2},
                        {"one byte", 0x40, {0xFF}, 1},
                        {"no size", 0x40, Image({1}), 0},
                        {"erased size", 0x40, Image({1}), 0xFFFF},
                        {"no address", 3, Image({1}), 3}};
  for (auto const& [what, address, image, size] : cases) {
    PutEntry(Upgrade, address, size);
    Put(address, image);
    EXPECT_THAT(Open()->ReadCurrentFile(Upgrade), testing::IsEmpty()) << what;
  }
}

TEST_F(FileStoreTest, RefusesAFileThatIsNoneWithoutBusTraffic) {
  const auto store = Open();
  const auto before = chip.Model().messages;
  EXPECT_THAT(store->ReadCurrentFile(static_cast<File>(3)), testing::IsEmpty());
  EXPECT_FALSE(store->Write(static_cast<File>(3), Bytes{1}));
  EXPECT_EQ(chip.Model().messages, before);
}

// --- adopting the peripheral configuration file ---

// A block of 0x4000 bytes with a correct checksum whose first 0xFF is at `position`; none at 0x4000.
Bytes Block(std::size_t position) {
  for (unsigned int seed = 0;; ++seed) {
    Bytes data(0x4000 - 2, 0x11);
    data[5000] = static_cast<unsigned char>(seed % 0xFF);
    data[5001] = static_cast<unsigned char>(seed / 0xFF);
    if (position >= 2 && position < 0x4000) data[position - 2] = 0xFF;
    Bytes image = Image(data);
    if (static_cast<std::size_t>(std::ranges::find(image, 0xFF) - image.begin()) == position) return image;
  }
}

TEST_F(FileStoreTest, AdoptsABlockUpToItsFirstErasedByte) {
  for (const unsigned int end : {1U, 2U, 0x3FFFU}) {
    std::ranges::fill(chip.Memory(), 0xFF);
    Put(0x40, Block(end));
    Open();
    EXPECT_THAT(Table(),
                ElementsAre(0x40, 0, end & 0xFF, end >> 8, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF));
  }
}

TEST_F(FileStoreTest, ReservesWithoutWritingWhereThereIsNothingToAdopt) {
  const auto reserves = [this](char const* what) {
    const auto store = Open();
    EXPECT_EQ(store->GetFileStartAddress(Peripheral), 0x40) << what;
    EXPECT_EQ(store->GetFileStartAddress(Upgrade), 0x4040) << what;
    EXPECT_EQ(chip.Model().page_writes, 0U) << what;
  };
  Put(0x40, Block(0));
  reserves("first byte erased");
  Put(0x40, Block(0x4000));
  reserves("no erased byte");
  chip.Memory()[0x3000] ^= 1;
  reserves("wrong checksum");
  PutEntry(Peripheral, 0x40, 0);
  reserves("an address alone");
}

// --- storing a file ---

TEST_F(FileStoreTest, MovesAFileThatWrapsAroundTheEndOutOfTheWay) {
  PutFile(Peripheral, 0x40, Counting(100));
  PutFile(Upgrade, 0x8100, Counting(500, 3));
  ASSERT_EQ(Stored(Upgrade), Counting(500, 3));
  EXPECT_TRUE(Open()->Write(Peripheral, Counting(400, 111)));
  EXPECT_EQ(Stored(Peripheral), Counting(400, 111));
  EXPECT_EQ(Stored(Upgrade), Counting(500, 3));
}

TEST_F(FileStoreTest, KeepsAStaleEntryInsideAFileThatKeepsItsSize) {
  const Bytes inner = Image(Counting(20, 77));
  Bytes data = Counting(1000);
  std::ranges::copy(inner, data.begin() + 500);
  PutFile(Board, 0x1000, data);
  PutEntry(Upgrade, 0x1000 + 502, inner.size());
  EXPECT_TRUE(Open()->Write(Board, Counting(1000, 111)));
  EXPECT_EQ(Stored(Board), Counting(1000, 111));
  EXPECT_EQ(Stored(Upgrade), Counting(20, 77));
}

// A neighbour that was not delivered may be a good file: it is not taken for a damaged one.
TEST_F(FileStoreTest, RefusesAWriteWhoseNeighbourCannotBeRead) {
  PutFile(Peripheral, 0x40, Counting(30));
  PutFile(Upgrade, 0x80, Counting(30, 3));
  PutFile(Board, 0xC0, Counting(30, 5));
  const Bytes before = Memory();
  // The neighbour's address twice, the second transfer of its image, the other neighbour's address twice.
  for (auto const& [message, count] : {std::pair{1, 2}, {3, 1}, {5, 2}}) {
    const auto store = Open();
    Refuse(static_cast<unsigned int>(message), static_cast<unsigned int>(count));
    EXPECT_FALSE(store->Write(Peripheral, Counting(100))) << message;
    EXPECT_EQ(Memory(), before);
    EXPECT_EQ(chip.Model().page_writes, 0U);
  }
  chip.ClearFaults();
  const auto store = Open();
  chip.Add(CHIP_FAULT_FLIP, chip.Model().messages + 2);
  EXPECT_TRUE(store->Write(Peripheral, Counting(70)));
  EXPECT_EQ(Stored(Upgrade), Counting(30, 3)) << "read wrongly once";
}

// --- host files ---

TEST_F(FileStoreTest, ReadsANamedPipeThatIsFilledInPieces) {
  const std::string fifo = host / "fifo";
  ASSERT_EQ(mkfifo(fifo.c_str(), 0600), 0);
  std::thread writer([&] { std::ofstream(fifo) << "by a " << std::flush << "script"; });
  EXPECT_TRUE(Open()->Write(Board, fifo));
  writer.join();
  EXPECT_EQ(Stored(Board), (Bytes{'b', 'y', ' ', 'a', ' ', 's', 'c', 'r', 'i', 'p', 't'}));
}

TEST_F(FileStoreTest, VerifiesEveryByteOfAHostFile) {
  PutFile(Board, 0x40, Counting(300));
  Bytes other = Counting(300);
  EXPECT_TRUE(Open()->Verify(Board, Make("same", other)));
  other.back() ^= 1;
  EXPECT_FALSE(Open()->Verify(Board, Make("last", other)));
  EXPECT_FALSE(Open()->Verify(Board, Make("longer", Counting(301))));
  EXPECT_FALSE(Open()->Verify(Board, Make("shorter", Counting(299))));
}

// A foreign table can describe a file that is longer than the device: the chip's addresses wrap.
TEST_F(FileStoreTest, VerifiesWhatItReadsOfAFileLongerThanTheDevice) {
  constexpr unsigned short Size = 0x8003;
  PutEntry(Board, 0x40, Size);
  // The last bytes before the wrap make up for the others: continuing from a checksum is the same as starting
  // with its bytes XORed into the next ones.
  Bytes data = At(0x42, DeviceSize - 0x42);
  const Bytes start = At(0, 0x3E);
  data.insert(data.end(), start.begin(), start.end());
  const unsigned int state = ImageChecksum(data) ^ 0xFFFFU;
  for (unsigned int word = 0; word < 0x10000; ++word) {
    const Bytes last = {static_cast<unsigned char>(word ^ state),
                        static_cast<unsigned char>((word ^ state) >> 8), 0xFF, 0xFF, 0xFF};
    if (ImageChecksum(last) != 0xFFFF) continue;
    Put(0x3E, {static_cast<unsigned char>(word), static_cast<unsigned char>(word >> 8)});
  }
  ASSERT_TRUE(Open()->Read(Board, host / "long"));
  EXPECT_EQ(std::filesystem::file_size(host / "long"), Size - 2);
  EXPECT_TRUE(Open()->Verify(Board, host / "long"));
}

// --- board bytes ---

TEST_F(FileStoreTest, KeepsToTheFourBoardBytes) {
  const auto store = Open();
  EXPECT_TRUE(store->WordSet(1, 0x1234));
  EXPECT_TRUE(store->ByteSet(0, 0x56));
  EXPECT_TRUE(store->ByteSet(3, 0x78));
  EXPECT_EQ(At(0, 5), (Bytes{0x56, 0x34, 0x12, 0x78, 0xFF}));
  EXPECT_EQ(store->WordGet(2), 0x7812);
  EXPECT_EQ(store->ByteGet(3), 0x78);
  EXPECT_TRUE(store->ByteSet(3, "1Fg", 16));
  EXPECT_EQ(chip.Memory()[3], 0x1F);
  const auto before = chip.Model().messages;
  EXPECT_FALSE(store->WordSet(3, 0));
  EXPECT_FALSE(store->WordSet(0xFFFF, 0));
  EXPECT_FALSE(store->ByteSet(4, 0));
  EXPECT_EQ(store->WordGet(3), 0);
  EXPECT_EQ(store->ByteGet(4), 0);
  EXPECT_FALSE(store->WordSet(3, "5", 10));
  EXPECT_FALSE(store->DeveloperBoardSet(4, "1"));
  EXPECT_EQ(chip.Model().messages, before);
  Refuse(1, 0);
  EXPECT_EQ(store->WordGet(0), 0);
  EXPECT_EQ(store->ByteGet(0), 0);
  EXPECT_FALSE(store->WordSet(0, 7));
  EXPECT_FALSE(store->ByteSet(0, 7));
}

TEST(SlotOrder, IsFixedForEEPromHandler) {
  using Handler = EEPromHandler;
  using Text = std::string const&;
  ExpectSlots("EEPromHandler", 2, &Handler::IsEEPromAccessible, &Handler::Write, &Handler::WriteAll,
              &Handler::Read, &Handler::ReadAll, &Handler::Erase, &Handler::Verify, &Handler::VerifyAll,
              &Handler::ByteGet, Overload<bool(unsigned short, unsigned char)>(&Handler::ByteSet),
              Overload<bool(unsigned short, Text, unsigned char)>(&Handler::ByteSet), &Handler::WordGet,
              Overload<bool(unsigned short, unsigned short)>(&Handler::WordSet),
              Overload<bool(unsigned short, Text, unsigned char)>(&Handler::WordSet),
              &Handler::DeveloperBoardSet, &Handler::ReadBoardInformation);
}

}  // namespace
