#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <algorithm>
#include <filesystem>
#include <functional>
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
using testing::Each;
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
  static Bytes ContentBytes(std::string const& path) {
    const std::string content = ContentOf(path);
    return {content.begin(), content.end()};
  }

  EmulatedChip chip;
  ModelWire wire{&chip};
  TempDirectory host;
};

// --- opening ---

TEST_F(FileStoreTest, ReadsTheTableAndOpensWhatItDescribes) {
  PutFile(Peripheral, 0x0140, Counting(3));
  PutFile(Upgrade, 0x7F80, Counting(126, 7));
  PutEntry(Board, 0x1234, 2);
  const auto store = Open();
  EXPECT_TRUE(store->IsEEPromAccessible());
  EXPECT_EQ(store->ReadCurrentFile(Peripheral), Image(Counting(3)));
  EXPECT_EQ(store->ReadCurrentFile(Upgrade), Image(Counting(126, 7)));
  EXPECT_THAT(store->ReadCurrentFile(Board), testing::IsEmpty());
  EXPECT_EQ(store->GetFileStartAddress(Board), 0x1234);
  const auto before = chip.Model().messages;
  EXPECT_THAT(store->ReadCurrentFile(static_cast<File>(3)), testing::IsEmpty());
  EXPECT_FALSE(store->Write(static_cast<File>(3), Bytes{1}));
  EXPECT_EQ(chip.Model().messages, before);
  EXPECT_EQ(chip.Model().page_writes, 0U);
}

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
                        {"no address", 3, Image({1}), 3},
                        {"checksum high byte first", 0x40, {0x68, 0xC7, 'a', 'b', 'c'}, 5}};
  for (auto const& [what, address, image, size] : cases) {
    PutEntry(Upgrade, address, size);
    Put(address, image);
    EXPECT_THAT(Open()->ReadCurrentFile(Upgrade), testing::IsEmpty()) << what;
  }
  PutEntry(Upgrade, 0x40, 5);
  Put(0x40, {0xC7, 0x68, 'a', 'b', 'c'});
  EXPECT_EQ(Stored(Upgrade), (Bytes{'a', 'b', 'c'}));
}

TEST_F(FileStoreTest, NoticesEveryDamagedByteOfAnImageAndItsEntry) {
  PutFile(Peripheral, 0x40, Counting(20));
  PutFile(Upgrade, 0x80, Counting(30, 40));
  PutFile(Board, 0xC0, Counting(10, 90));
  std::vector<std::size_t> positions(4 + 32);
  std::iota(positions.begin(), positions.begin() + 4, 8);
  std::iota(positions.begin() + 4, positions.end(), 0x80);
  for (const std::size_t position : positions) {
    for (const unsigned char mask : std::initializer_list<unsigned char>{0x01, 0x40, 0xFF}) {
      chip.Memory()[position] = static_cast<unsigned char>(chip.Memory()[position] ^ mask);
      const auto store = Open();
      EXPECT_THAT(store->ReadCurrentFile(Upgrade), testing::IsEmpty()) << position;
      EXPECT_FALSE(store->ReadCurrentFile(Peripheral).empty()) << position;
      EXPECT_FALSE(store->ReadCurrentFile(Board).empty()) << position;
      chip.Memory()[position] = static_cast<unsigned char>(chip.Memory()[position] ^ mask);
    }
  }
  EXPECT_EQ(Stored(Upgrade), Counting(30, 40));
}

TEST_F(FileStoreTest, OpensTheChipOfItsLocation) {
  EmulatedChip other(CHIP_CAT24C256, 0x52);
  ModelWire both({&chip, &other});
  const auto bus = std::make_shared<ModelBus>(both);
  PosixEEpromHandler(Location::GoldcrestBaseboard, bus).ByteSet(0, 1);
  PosixEEpromHandler(Location::BaseboardDefault, bus).ByteSet(0, 2);
  EXPECT_EQ(other.Memory()[0], 1);
  EXPECT_EQ(chip.Memory()[0], 2);
  EXPECT_EQ(bus.use_count(), 1);
  EXPECT_FALSE(PosixEEpromHandler(Location::GoldcrestBaseboard, std::make_shared<ModelBus>(wire))
                   .IsEEPromAccessible());
  EXPECT_FALSE(PosixEEpromHandler(Location::BaseboardDefault, nullptr).IsEEPromAccessible());
}

TEST_F(FileStoreTest, CountsATableThatCannotBeReadAsEmpty) {
  PutFile(Upgrade, 0x80, Counting(30));
  Refuse(3, 2);  // behind the two messages of the probe
  const auto store = Open();
  EXPECT_TRUE(store->IsEEPromAccessible());
  EXPECT_THAT(store->ReadCurrentFile(Upgrade), testing::IsEmpty());
  EXPECT_EQ(store->GetFileStartAddress(Upgrade), 0x40);
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
  for (const unsigned int end : {1U, 2U, 1000U, 0x3FFFU}) {
    std::ranges::fill(chip.Memory(), 0xFF);
    Put(0x40, Block(end));
    Open();
    EXPECT_THAT(Table(),
                ElementsAre(0x40, 0, end & 0xFF, end >> 8, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF));
  }
}

TEST_F(FileStoreTest, KeepsAnAdoptedPlaceThatItCannotList) {
  Put(0x40, Block(1000));
  Refuse(2 + 2 + 1025 + 1, 2);  // behind the probe, the table and the block
  EXPECT_EQ(Open()->GetFileStartAddress(Upgrade), 0x440);
  EXPECT_EQ(Table(), Bytes(12, 0xFF));
}

TEST_F(FileStoreTest, ReservesWithoutWritingWhereThereIsNothingToAdopt) {
  const auto reserves = [this](char const* what) {
    const auto store = Open();
    EXPECT_EQ(store->GetFileStartAddress(Peripheral), 0x40) << what;
    EXPECT_EQ(store->GetFileStartAddress(Upgrade), 0x4040) << what;
    EXPECT_EQ(chip.Model().page_writes, 0U) << what;
  };
  reserves("erased");
  Put(0x40, Block(0));
  reserves("first byte erased");
  Put(0x40, Block(0x4000));
  reserves("no erased byte");
  chip.Memory()[0x3000] ^= 1;
  reserves("wrong checksum");
  PutEntry(Peripheral, 0x40, 0);
  reserves("an address alone");
}

// --- storing a file: each case starts from a table and ends with one ---

TEST_F(FileStoreTest, StoresImagesThenMovedImagesThenTheTable) {
  ASSERT_TRUE(Open()->Write(Upgrade, Counting(100)));
  EXPECT_EQ(At(0x4040, 102), Image(Counting(100)));
  EXPECT_THAT(Table(), ElementsAre(0x40, 0, 0, 0x40, 0x40, 0x40, 102, 0, 0xFF, 0xFF, 0xFF, 0xFF));

  ASSERT_TRUE(Open()->Write(Board, Counting(10, 50)));
  wire.Record();
  const auto store = Open();
  ASSERT_TRUE(store->Write(Peripheral, Counting(300, 9)));
  EXPECT_EQ(At(0x40, 302), Image(Counting(300, 9)));
  EXPECT_EQ(At(0x180, 102), Image(Counting(100)));
  EXPECT_EQ(At(0x200, 12), Image(Counting(10, 50)));
  EXPECT_THAT(Table(), ElementsAre(0x40, 0, 0x2E, 1, 0x80, 1, 102, 0, 0, 2, 12, 0));
  EXPECT_EQ(store->ReadCurrentFile(Upgrade), Image(Counting(100)));
  std::vector<int> order;
  for (auto const& message : wire.Messages()) {
    if (message.bytes.size() > 2 && !message.isRead)
      order.push_back(message.bytes[0] << 8 | message.bytes[1]);
  }
  EXPECT_THAT(order, ElementsAre(0x40, 0x80, 0xC0, 0x100, 0x140, 0x180, 0x1C0, 0x200, 4));
  EXPECT_EQ(chip.Model().busy, 0U);
}

TEST_F(FileStoreTest, WritesNothingButTheImageWhenTheSizeStays) {
  PutFile(Upgrade, 0x5000, Counting(62));
  ASSERT_TRUE(Open()->Write(Upgrade, Counting(62, 5)));
  EXPECT_EQ(chip.Model().page_writes, 1U);
  EXPECT_EQ(Stored(Upgrade), Counting(62, 5));
  ASSERT_TRUE(Open()->Write(Peripheral, Counting(0x3FFE))) << "the reserved size exactly";
  EXPECT_EQ(At(4, 4), Bytes(4, 0xFF));
}

TEST_F(FileStoreTest, StoresEmptyDataThatReadsBackAsNoFile) {
  ASSERT_TRUE(Open()->Write(Upgrade, Bytes()));
  EXPECT_EQ(At(8, 4), (Bytes{0x40, 0x40, 2, 0}));
  EXPECT_THAT(Open()->ReadCurrentFile(Upgrade), testing::IsEmpty());
}

TEST_F(FileStoreTest, KeepsEveryOtherReadableFileOnForeignTables) {
  struct Case {
    char const* what;
    std::function<void()> lay;
    File file;
    std::size_t length;
  };
  const Case cases[] = {
      {"a lower-numbered file above moves",
       [this] {
         PutFile(Board, 0x40, Counting(60));
         PutFile(Upgrade, 0x80, Counting(500, 3));
       },
       Board, 200},
      {"a file kept beyond the end moves",
       [this] {
         PutFile(Peripheral, 0x40, Counting(100));
         PutFile(Upgrade, 0x8100, Counting(500, 3));
       },
       Peripheral, 400},
      {"a stale entry inside a file that keeps its size",
       [this] {
         Bytes data = Counting(1000);
         const Bytes inner = Image(Counting(20, 77));
         std::ranges::copy(inner, data.begin() + 500);
         PutFile(Board, 0x1000, data);
         PutEntry(Upgrade, 0x1000 + 502, inner.size());
       },
       Board, 1000},
      {"a damaged entry with the highest address",
       [this] {
         PutFile(Peripheral, 0x40, Counting(5000));
         PutEntry(Upgrade, 0x80, 50);
       },
       Board, 300},
  };
  for (auto const& [what, lay, file, length] : cases) {
    std::ranges::fill(chip.Memory(), 0xFF);
    lay();
    std::vector<Bytes> files;
    for (const File other : {Peripheral, Upgrade, Board}) files.push_back(Stored(other));
    files[static_cast<std::size_t>(file)] = Counting(length, 111);
    EXPECT_TRUE(Open()->Write(file, Counting(length, 111))) << what;
    for (const File other : {Peripheral, Upgrade, Board}) {
      EXPECT_EQ(Stored(other), files[static_cast<std::size_t>(other)]) << what;
    }
  }
}

// A file that is merely damaged is left alone; one that was not delivered may be a good one.
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
  EXPECT_TRUE(Open()->Write(Peripheral, Counting(30, 9)));
  auto store = Open();
  chip.Add(CHIP_FAULT_FLIP, chip.Model().messages + 2);
  EXPECT_TRUE(store->Write(Peripheral, Counting(70)));
  EXPECT_EQ(Stored(Upgrade), Counting(30, 3)) << "read wrongly once";

  PutFile(Upgrade, 0x80, Counting(30, 3));
  chip.Memory()[0x90] ^= 1;
  EXPECT_TRUE(Open()->Write(Peripheral, Counting(60)));
  EXPECT_EQ(Table(), (Bytes{0x40, 0, 62, 0, 0x80, 0, 32, 0, 0xC0, 0, 32, 0}));
}

TEST_F(FileStoreTest, TellsHowAWriteFailed) {
  const auto lay = [this] {
    std::ranges::fill(chip.Memory(), 0xFF);
    PutFile(Peripheral, 0x40, Counting(30));
    PutFile(Upgrade, 0x80, Counting(30, 3));
    PutFile(Board, 0xC0, Counting(30, 5));
    chip.ClearFaults();
    return Open();
  };
  // Reading the two neighbours takes 3 messages each; a page that is refused is sent twice.
  auto store = lay();
  Refuse(7, 2);
  EXPECT_FALSE(store->Write(Peripheral, Counting(62, 9))) << "the new image";
  EXPECT_EQ(At(0x40, 256), (lay(), At(0x40, 256)));

  store = lay();
  Refuse(8, 2);
  EXPECT_TRUE(store->Write(Peripheral, Counting(62, 9))) << "the first moved image";
  EXPECT_EQ(Table(), (Bytes{0x40, 0, 64, 0, 0xFF, 0xFF, 0xFF, 0xFF, 0x80, 0, 32, 0}));
  EXPECT_EQ(Stored(Board), Counting(30, 5));

  store = lay();
  const Bytes table = Table();
  Refuse(10, 2);
  EXPECT_FALSE(store->Write(Peripheral, Counting(62, 9))) << "the table";
  EXPECT_EQ(Table(), table);

  std::ranges::fill(chip.Memory(), 0xFF);
  store = Open();
  Refuse(2, 2);
  EXPECT_FALSE(store->Write(Upgrade, Counting(100))) << "the second page of a new file";
  EXPECT_EQ(Table(), Bytes(12, 0xFF));
  EXPECT_EQ(store->GetFileStartAddress(Board), 0x4040) << "its entry stayed as it was";
}

// --- host files ---

TEST_F(FileStoreTest, MovesFilesBetweenTheHostAndTheEeprom) {
  const std::string source = Make("source", Counting(300));
  const std::string target = Make("target", Counting(1000));
  auto store = Open();
  EXPECT_FALSE(store->Read(Board, target)) << "not stored";
  EXPECT_FALSE(store->Verify(Board, source));
  EXPECT_FALSE(store->Verify(Board, Make("empty", {})));
  EXPECT_EQ(ContentBytes(target), Counting(1000));
  EXPECT_TRUE(store->Write(Board, source));
  EXPECT_TRUE(store->Verify(Board, source));
  EXPECT_TRUE(store->Read(Board, target));
  EXPECT_EQ(ContentBytes(target), Counting(300));
  Bytes other = Counting(300);
  other.back() ^= 1;
  EXPECT_FALSE(store->Verify(Board, Make("last", other)));
  EXPECT_FALSE(store->Verify(Board, Make("longer", Counting(301))));
  EXPECT_FALSE(store->Verify(Board, Make("shorter", Counting(299))));
}

TEST_F(FileStoreTest, MovesTheWholeDevice) {
  const Bytes image = Counting(DeviceSize, 77);
  Put(0, image);
  const std::string path = Make("image", Counting(40000));
  EXPECT_TRUE(Open()->ReadAll(path));
  EXPECT_EQ(ContentBytes(path), image);
  EXPECT_TRUE(Open()->VerifyAll(path));
  for (const std::size_t size : {DeviceSize - 1, DeviceSize + 1}) {
    EXPECT_FALSE(Open()->VerifyAll(Make("other", Counting(size, 77)))) << size;
  }
  chip.Memory()[DeviceSize - 1] ^= 1;
  EXPECT_FALSE(Open()->VerifyAll(path));
  EXPECT_TRUE(Open()->WriteAll(path));
  EXPECT_EQ(Memory(), image);
  EXPECT_FALSE(Open()->WriteAll(Make("other", Counting(DeviceSize + 1))));
  EXPECT_EQ(Memory(), image);
  EXPECT_TRUE(Open()->WriteAll(Make("other", Counting(DeviceSize - 1))));
  EXPECT_EQ(At(0, DeviceSize - 1), Counting(DeviceSize - 1));
  EXPECT_EQ(chip.Memory()[DeviceSize - 1], 0xFF);
  EXPECT_TRUE(Open()->WriteAll(Make("other", {})));
  EXPECT_THAT(Memory(), Each(0xFF));

  auto store = Open();
  Refuse(1000, 0);
  EXPECT_FALSE(store->VerifyAll(path));
  EXPECT_FALSE(store->ReadAll(host / "new"));
  EXPECT_FALSE(std::filesystem::exists(host / "new"));
  store = (chip.ClearFaults(), Open());
  Refuse(500, 3);
  EXPECT_FALSE(store->WriteAll(path)) << "a page is missing";
}

TEST_F(FileStoreTest, TakesNoHostFileThatItCannotReadInFull) {
  PutFile(Board, 0x40, Counting(10));
  const Bytes before = Memory();
  const std::string sparse = Make("sparse", Counting(10));
  std::filesystem::resize_file(sparse, (4UL << 30) + 10);
  const std::string half = Make("half", {});
  std::filesystem::resize_file(half, 2UL << 30);
  for (std::string const& path : {host / "", host / "missing", sparse, half, std::string("/dev/full"),
                                  Make("large", Counting(65606))}) {
    const auto store = Open();
    EXPECT_FALSE(store->Write(Board, path)) << path;
    EXPECT_FALSE(store->Verify(Board, path)) << path;
    EXPECT_FALSE(store->WriteAll(path)) << path;
    EXPECT_FALSE(store->VerifyAll(path)) << path;
  }
  EXPECT_EQ(chip.Model().page_writes, 0U);
  EXPECT_EQ(Memory(), before);
}

// A pipe that holds `content`; its writer has left unless it `stays`.
class Pipe {
 public:
  explicit Pipe(Bytes const& content, bool stays = false) {
    if (pipe2(ends, O_CLOEXEC) != 0 || write(ends[1], content.data(), content.size()) < 0) std::abort();
    if (!stays) close(std::exchange(ends[1], -1));
  }
  ~Pipe() {
    close(ends[0]);
    if (ends[1] >= 0) close(ends[1]);
  }
  Pipe(Pipe const&) = delete;
  Pipe& operator=(Pipe const&) = delete;
  [[nodiscard]] std::string Path() const { return "/dev/fd/" + std::to_string(ends[0]); }

 private:
  int ends[2] = {-1, -1};
};

TEST_F(FileStoreTest, ReadsAPipeToItsEnd) {
  EXPECT_TRUE(Open()->Write(Board, Pipe(Counting(3000)).Path()));
  EXPECT_EQ(Stored(Board), Counting(3000));
  EXPECT_TRUE(Open()->Verify(Board, Pipe(Counting(3000)).Path()));
  EXPECT_TRUE(Open()->VerifyAll(Pipe(Memory()).Path()));

  const std::string fifo = host / "fifo";
  ASSERT_EQ(mkfifo(fifo.c_str(), 0600), 0);
  std::thread writer([&] { std::ofstream(fifo) << "by a " << std::flush << "script"; });
  EXPECT_TRUE(Open()->Write(Board, fifo));
  writer.join();
  EXPECT_EQ(Stored(Board), (Bytes{'b', 'y', ' ', 'a', ' ', 's', 'c', 'r', 'i', 'p', 't'}));

  const auto writes = chip.Model().page_writes;
  EXPECT_FALSE(Open()->Write(Board, Pipe({}).Path()));
  EXPECT_FALSE(Open()->Write(Board, Pipe(Counting(DeviceSize + 1), true).Path()))
      << "without waiting for more";
  EXPECT_FALSE(Open()->WriteAll(Pipe(Counting(100)).Path()));
  EXPECT_EQ(chip.Model().page_writes, writes);
}

TEST_F(FileStoreTest, ReportsAHostFileThatTakesNotEverything) {
  PutFile(Board, 0x40, Counting(10));
  for (std::string const& path : {std::string("/dev/full"), host / "", host / "missing/file"}) {
    EXPECT_FALSE(Open()->Read(Board, path)) << path;
    EXPECT_FALSE(Open()->ReadAll(path)) << path;
    EXPECT_FALSE(Open()->ReadBoardInformation(path)) << path;
  }
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

TEST_F(FileStoreTest, SetsTheNumberThatATextBeginsWith) {
  struct Case {
    char const* text;
    unsigned short word;
  };
  const auto store = Open();
  for (auto const& [text, word] : {Case{"7", 7}, Case{"300", 300}, Case{"-1", 0xFFFF}, Case{"65536", 0},
                                   Case{" 42", 42}, Case{"12abc", 12}, Case{"+2147483647", 0xFFFF}}) {
    EXPECT_TRUE(store->BaseboardIdSet(1, text)) << text;
    EXPECT_EQ(store->WordGet(1), word) << text;
  }
  EXPECT_TRUE(store->ByteSet(3, "1Fg", 16));
  EXPECT_EQ(chip.Memory()[3], 0x1F);
  const auto before = chip.Model().messages;
  for (char const* const text : {"", "abc", "-", "x12"}) {
    EXPECT_THROW(store->BaseboardIdSet(1, text), std::invalid_argument) << text;
  }
  for (char const* const text : {"99999999999", "2147483648", "-2147483649"}) {
    EXPECT_THROW(store->BaseboardIdSet(1, text), std::out_of_range) << text;
  }
  EXPECT_EQ(chip.Model().messages, before);
  for (char const* const text : {"0", "2", "01", "1 ", " 1", ""}) {
    EXPECT_TRUE(store->DeveloperBoardSet(3, "1"));
    EXPECT_EQ(chip.Memory()[3], 0xA5);
    EXPECT_TRUE(store->DeveloperBoardSet(3, text)) << text;
    EXPECT_EQ(chip.Memory()[3], 0) << text;
  }
}

TEST_F(FileStoreTest, DumpsTheFirst64Bytes) {
  Put(0, Counting(64, 0xF0));
  Put(3, {0xA5});
  const std::string path = Make("info", Counting(300));
  const auto store = Open();
  EXPECT_TRUE(store->ReadBoardInformation(path));
  EXPECT_EQ(ContentOf(path),
            "f0 f1 f2 a5  f4 f5 f6 f7  f8 f9 fa fb  fc fd fe ff\r\n"
            "00 01 02 03  04 05 06 07  08 09 0a 0b  0c 0d 0e 0f\r\n"
            "10 11 12 13  14 15 16 17  18 19 1a 1b  1c 1d 1e 1f\r\n"
            "20 21 22 23  24 25 26 27  28 29 2a 2b  2c 2d 2e 2f\r\n");
  Refuse(3, 0);
  EXPECT_TRUE(store->ReadBoardInformation(path)) << "zeros for what could not be read";
  EXPECT_EQ(ContentOf(path).substr(0, 56), "f0 f1 f2 a5  f4 f5 f6 f7  f8 f9 fa fb  fc fd fe ff\r\n00 0");
  EXPECT_EQ(ContentOf(path).size(), 208U);
}

TEST_F(FileStoreTest, ErasesEverything) {
  Put(0, Counting(DeviceSize));
  EXPECT_TRUE(Open()->Erase());
  EXPECT_THAT(Memory(), Each(0xFF));
  const auto store = Open();
  Refuse(1, 0);
  EXPECT_FALSE(store->Erase());
}

TEST_F(FileStoreTest, WorksTheSameBehindTheQueue) {
  const auto open = [this] {
    return PosixEEpromHandler(Location::BaseboardDefault, std::make_shared<QueuedModelBus>(wire));
  };
  chip.Add(CHIP_FAULT_REFUSE, 20, 2);  // the queue's own attempts cover it
  EXPECT_TRUE(open().Write(Board, Counting(3000)));
  EXPECT_EQ(open().ReadCurrentFile(Board), Image(Counting(3000)));
  EXPECT_EQ(chip.Model().busy, 0U);
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
