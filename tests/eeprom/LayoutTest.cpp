#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <string>
#include <utility>

#include "eeprom/EEPromHelper.h"
#include "eeprom/FileLayout.h"
#include "eeprom/PlacementPlan.h"

namespace {

using File = EEPromHandler::FilesInEEProm;

constexpr unsigned long DeviceSize = 0x8000;
constexpr FileAllocationTableEntry None = {0xFFFF, 0xFFFF};
constexpr FileAllocationTableEntry Reserved = {0x40, 0x4000};

TEST(FileLayoutTest, StartsAFileAtItsAddressOrBehindTheHighestOne) {
  struct Case {
    FileAllocationTable table;
    File file;
    unsigned short start;
  };
  const Case cases[] = {
      {{{{0, 0}, {3, 9}, None}}, File::BoardConfig, 0x40},
      {{{{0x180, 0x40}, None, {0x40, 0x1000}}}, File::UpgradeFile, 0x1C0},
      {{{{0x100, 0x10}, {0x100, 0x200}, None}}, File::BoardConfig, 0x140},  // the first of equals
      {{{{0x40, 0}, {5, 0xFFFF}, None}}, File::UpgradeFile, 5},             // an address alone is a place
      {{{{0x40, 0}, None, None}}, File::UpgradeFile, 0x40},
      {{{{0xFFC0, 0xFFFF}, None, None}}, File::UpgradeFile, 0xFFC0},  // 0x1FFBF, rounded up, modulo 65536
      {{{{0xFFC0, 0x60}, None, None}}, File::UpgradeFile, 0x40},
      {{{{0xFFFE, 1}, None, None}}, static_cast<File>(3), 0},
  };
  for (auto const& [table, file, start] : cases) {
    EXPECT_EQ(StartAddress(table, file), start)
        << std::hex << table[0].Address << " " << table[1].Address << " " << table[2].Address;
  }
}

// --- where files go ---

using Place = std::pair<unsigned long, unsigned long>;  // address and length

// What carrying out a plan does: the images in the order of writing, and the table afterwards.
struct Outcome {
  std::vector<Place> written;
  std::vector<Place> table;
  bool writesTable = true;
  bool operator==(Outcome const&) const = default;
};

std::ostream& operator<<(std::ostream& output, Outcome const& outcome) {
  output << std::hex << "writes";
  for (auto const& [address, length] : outcome.written) output << " " << address << "/" << length;
  output << (outcome.writesTable ? ", table" : ", keeps");
  for (auto const& [address, length] : outcome.table) output << " " << address << "/" << length;
  return output;
}

std::vector<Place> Places(FileAllocationTable const& table) {
  std::vector<Place> places;
  for (auto const& [address, size] : table) places.emplace_back(address, size);
  return places;
}

// A table, the files among it that can be read, and an image to be stored.
struct Task {
  FileAllocationTable table;
  std::string readable;  // digits
  File file;
  unsigned long length;

  [[nodiscard]] bool IsReadable(std::size_t other) const {
    auto const& [address, size] = table[other];
    return EEPromHelper::IsAddressValid(address) && EEPromHelper::IsSizeValid(size) &&
           readable.find(static_cast<char>('0' + other)) != std::string::npos;
  }
};

std::optional<Outcome> CarryOut(Task const& task) {
  const auto isReadable = [&](File other) { return task.IsReadable(static_cast<std::size_t>(other)); };
  auto plan = PlanPlacement(task.table, DeviceSize, task.file, task.length, isReadable);
  if (!plan) return std::nullopt;
  Outcome outcome{{{plan->start, task.length}}, {}, plan->writesTable};
  for (const File other : plan->moving) {
    const unsigned short size = task.table[static_cast<std::size_t>(other)].Size;
    const auto start = plan->layout.StartFor(other, size);
    if (!start) return std::nullopt;
    plan->layout.Place(other, *start, size);
    outcome.written.emplace_back(*start, size);
  }
  outcome.table = Places(plan->layout.Table());
  return outcome;
}

struct PlanCase {
  char const* name;
  Task task;
  std::optional<Outcome> outcome;
};

class Placement : public testing::TestWithParam<PlanCase> {};

TEST_P(Placement, Goes) {
  const auto outcome = CarryOut(GetParam().task);
  EXPECT_EQ(outcome.has_value(), GetParam().outcome.has_value());
  if (outcome && GetParam().outcome) {
    EXPECT_EQ(*outcome, *GetParam().outcome);
  }
}

constexpr File Peripheral = File::PeripheralConfig;
constexpr File Upgrade = File::UpgradeFile;
constexpr File Board = File::BoardConfig;
constexpr Place No = {0xFFFF, 0xFFFF};
const std::optional<Outcome> Refused;

INSTANTIATE_TEST_SUITE_P(
    ForeignTables, Placement,
    testing::Values(
        PlanCase{
            "LowerNumberAboveMovesToo",
            {{Reserved, {0x4080, 0x100}, {0x4040, 0x40}}, "12", Board, 0x41},
            Outcome{{{0x4040, 0x41}, {0x40C0, 0x100}}, {{0x40, 0x4000}, {0x40C0, 0x100}, {0x4040, 0x41}}}},
        PlanCase{"LowerNumberAboveStaysWhileThereIsRoom",
                 {{Reserved, {0x4080, 0x100}, {0x4040, 0x30}}, "12", Board, 0x40},
                 Outcome{{{0x4040, 0x40}}, {{0x40, 0x4000}, {0x4080, 0x100}, {0x4040, 0x40}}}},
        PlanCase{"LowerNumberAboveMovesToMakeRoomForAFollower",
                 {{{{0x7000, 0xF00}, {0x1000, 0x100}, {0x2000, 0x200}}}, "012", Upgrade, 0x180},
                 Outcome{{{0x1000, 0x180}, {0x1180, 0xF00}, {0x2080, 0x200}},
                         {{0x1180, 0xF00}, {0x1000, 0x180}, {0x2080, 0x200}}}},
        PlanCase{"SameSizeOverAReadableFileGoesElsewhere",
                 {{{{0x5000, 0x100}, None, {0x4040, 0x1000}}}, "02", Board, 0x1000},
                 Outcome{{{0x5100, 0x1000}}, {{0x5000, 0x100}, No, {0x5100, 0x1000}}}},
        PlanCase{"NewSizeUnderAFileFromBelowGoesElsewhere",
                 {{{{0x4000, 0x101}, None, {0x4040, 0x80}}}, "02", Board, 0x20},
                 Outcome{{{0x4140, 0x20}}, {{0x4000, 0x101}, No, {0x4140, 0x20}}}},
        PlanCase{"SameSizeOverADamagedFileStays",
                 {{{{0x5000, 0x100}, None, {0x4040, 0x1000}}}, "2", Board, 0x1000},
                 Outcome{{{0x4040, 0x1000}}, {{0x5000, 0x100}, No, {0x4040, 0x1000}}, false}},
        PlanCase{"DamagedHighestAddressIsNotTheHighestEnd",
                 {{{{0x40, 0x1001}, {0x80, 0x10}, None}}, "0", Board, 10},
                 Outcome{{{0x1080, 10}}, {{0x40, 0x1001}, {0x80, 0x10}, {0x1080, 10}}}},
        PlanCase{"StartWrapsIntoAReadableFile",
                 {{{{0x40, 0x100}, {0xFFC0, 0x60}, None}}, "0", Board, 10},
                 Outcome{{{0x140, 10}}, {{0x40, 0x100}, {0xFFC0, 0x60}, {0x140, 10}}}},
        PlanCase{
            "StartWrapsIntoTheTable", {{{{0x40, 0x100}, {0xFFA0, 0x60}, None}}, "0", Board, 10}, Refused},
        PlanCase{"FileKeptModuloTheDeviceMovesOutOfTheWay",
                 {{{{0x40, 0x20}, {0x8100, 0x40}, {0xC0, 0x20}}}, "012", Board, 0x41},
                 Outcome{{{0xC0, 0x41}, {0x140, 0x40}}, {{0x40, 0x20}, {0x140, 0x40}, {0xC0, 0x41}}}},
        PlanCase{"FileKeptModuloTheDeviceBlocksAWriteInPlace",
                 {{{{0x40, 0x20}, {0x8100, 0x40}, {0xC0, 0x41}}}, "012", Board, 0x41},
                 Refused},
        PlanCase{"FileOverTheTableForbidsToWriteIt", {{{{8, 5}, None, None}}, "0", Board, 10}, Refused},
        PlanCase{
            "FileKeptModuloOverTheTable", {{{{0x40, 9}, {0x7FF0, 0x15}, None}}, "01", Board, 10}, Refused},
        PlanCase{"FileOverTheTableAllowsAWriteInPlace",
                 {{{{8, 5}, None, {0x40, 10}}}, "0", Board, 10},
                 Outcome{{{0x40, 10}}, {{8, 5}, No, {0x40, 10}}, false}},
        PlanCase{"DamagedFileOverTheTable",
                 {{{{8, 5}, None, None}}, "", Board, 10},
                 Outcome{{{0x40, 10}}, {{8, 5}, No, {0x40, 10}}}},
        PlanCase{"InPlaceBeyondTheDevice", {{{{0x7FF7, 10}, None, None}}, "0", Peripheral, 10}, Refused},
        PlanCase{"HalfWrittenEntryLeadsNowhere",
                 {{{{0x40, 0x80}, {0x100, 0xFF00}, None}}, "0", Board, 10},
                 Outcome{{{0xC0, 10}}, {{0x40, 0x80}, {0x100, 0xFF00}, {0xC0, 10}}}},
        PlanCase{"HalfWrittenEntryLeavesTheReservedRoomAlone",
                 {{Reserved, {0xFF40, 0xFFFF}, None}, "", Board, 10},
                 Outcome{{{0x4040, 10}}, {{0x40, 0x4000}, {0xFF40, 0xFFFF}, {0x4040, 10}}}},
        PlanCase{"UnrelatedHalfWrittenEntryMakesNoRoom",
                 {{Reserved, {0x8, 0xFF00}, None}, "", Board, 0x3FC1},
                 Refused},
        PlanCase{"HalfWrittenPlaceThatDoesNotFit",
                 {{None, {0x7FF0, 0xFF20}, None}, "", Upgrade, 0x100},
                 Outcome{{{0x40, 0x100}}, {No, {0x40, 0x100}, No}}},
        PlanCase{"PlaceWithoutALength",
                 {{{{0x40, 0}, None, None}}, "", Peripheral, 10},
                 Outcome{{{0x40, 10}}, {{0x40, 10}, No, No}}}),
    [](auto const& row) { return row.param.name; });

// Byte by byte: nothing is written outside the file area, on an image that stays or twice, every readable
// file is still in the table, and the table covers no image that stays.
bool IsHarmless(Task const& task, Outcome const& outcome) {
  std::vector<char> taken(DeviceSize);
  const auto before = Places(task.table);
  for (std::size_t other = 0; other < before.size(); ++other) {
    if (other == static_cast<std::size_t>(task.file) || !task.IsReadable(other)) continue;
    if (outcome.table[other].second != before[other].second) return false;
    if (std::ranges::count(outcome.written, outcome.table[other]) != 0) continue;
    if (outcome.table[other] != before[other]) return false;
    for (unsigned long i = 0; i < before[other].second; ++i)
      taken[(before[other].first + i) % DeviceSize] = 1;
  }
  if (outcome.writesTable && std::find(taken.begin() + 4, taken.begin() + 16, 1) != taken.begin() + 16) {
    return false;
  }
  for (auto const& [address, length] : outcome.written) {
    if (address < 0x40 || length > 0xFFFE || address + length > DeviceSize) return false;
    const auto first = taken.begin() + static_cast<long>(address);
    const auto last = first + static_cast<long>(length);
    if (std::find(first, last, 1) != last) return false;
    std::fill(first, last, 1);
  }
  return true;
}

// What the random tables are made of.
constexpr unsigned short Addresses[] = {0,      3,      4,      8,      0x20,   0x40,   0x40,   0x80,
                                        0xC0,   0x100,  0x141,  0x3F00, 0x4040, 0x4100, 0x7000, 0x7F00,
                                        0x7FF0, 0x8008, 0x8100, 0xBFC0, 0xFFA0, 0xFFC0, 0xFFFE, 0xFFFF};
constexpr unsigned short Sizes[] = {0,      3,      10,     0x40,   0x41,   0x80,   0x100,
                                    0x1000, 0x3F00, 0x4000, 0x7FC0, 0x8000, 0xFFFE, 0xFFFF};

TEST(PlacementPlanTest, MakesOnlyHarmlessPlansOnRandomTables) {
  std::mt19937 random(1);
  const auto pick = [&](auto const& values) { return values[random() % std::size(values)]; };
  int planned = 0;
  for (int i = 0; i < 20000; ++i) {
    Task task{{}, {}, static_cast<File>(random() % 3), pick(Sizes) + 2UL};
    for (auto& entry : task.table) entry = {pick(Addresses), pick(Sizes)};
    for (char const* const digit : {"0", "1", "2"}) task.readable += random() % 4 != 0 ? digit : "";
    const auto outcome = CarryOut(task);
    SCOPED_TRACE(testing::PrintToString(Places(task.table)) + " readable " + task.readable + ", file " +
                 std::to_string(static_cast<int>(task.file)) + ", length " + std::to_string(task.length));
    if (!outcome) continue;
    ++planned;
    ASSERT_TRUE(IsHarmless(task, *outcome)) << *outcome;
  }
  EXPECT_GT(planned, 4000);
}

}  // namespace
