#include "support/Catalogue.h"

#include <algorithm>
#include <random>
#include <stdexcept>

namespace Catalogue {

namespace {

constexpr unsigned int FileArea = 0x40;
constexpr std::size_t Block = 0x4000;  // the place reserved for the peripheral configuration file
constexpr std::size_t ChecksumSize = 2;
constexpr unsigned int PageSize = 64;

// Data that fills the reserved place is recognised without being listed when it has no erased byte.
Bytes WithoutErasedBytes(Bytes data) {
  std::replace(data.begin(), data.end(), static_cast<unsigned char>(0xFF), static_cast<unsigned char>(0x7E));
  return data;
}

Bytes Unlisted(const Bytes& data) {
  const Bytes image = StoreModel::Image(data);
  Bytes memory(ChipSize, 0xFF);
  std::copy(image.begin(), image.end(), memory.begin() + FileArea);
  return memory;
}

// A block whose checksum is right for its whole length and also for the part before its first 0xFF byte, so
// that it is still readable once start-up has listed it: its last two bytes are tried until it is.
Bytes Adoptable() {
  constexpr std::size_t Length = 700;
  Bytes data = WithoutErasedBytes(Data(Length, 8));
  const unsigned int wanted = StoreModel::Checksum(data);
  Bytes last(2);
  data.resize(Block - ChecksumSize - last.size(), 0xFF);
  const unsigned int before = StoreModel::Checksum(data);
  for (unsigned int word = 0; StoreModel::Checksum(last, before) != wanted; ++word) {
    last = {static_cast<unsigned char>(word), static_cast<unsigned char>(word >> 8)};
  }
  data.insert(data.end(), last.begin(), last.end());
  return Unlisted(data);
}

std::vector<Command> Joined(std::vector<Command> commands, const std::vector<Command>& more) {
  commands.insert(commands.end(), more.begin(), more.end());
  return commands;
}

chip_fault PowerCut(chip_fault_kind kind, unsigned int parameter) {
  return {.kind = kind, .first = 1, .count = 1, .parameter = parameter, .met = 0};
}

}  // namespace

Bytes Data(std::size_t length, unsigned int seed) {
  std::minstd_rand random(seed * 1000 + 1);
  Bytes data(length);
  std::generate(data.begin(), data.end(), [&random] { return static_cast<unsigned char>(random() >> 8); });
  return data;
}

Command Write(unsigned int file, std::size_t length, unsigned int seed) {
  return {.word = "/W", .file = file, .host = Data(length, seed)};
}

Command WriteLargestFirstFile() {
  return {.word = "/W", .file = 0, .host = WithoutErasedBytes(Data(Block - ChecksumSize, 1))};
}

Bytes After(const std::vector<Command>& commands) {
  Bytes memory(ChipSize, 0xFF);
  for (const Command& command : commands) memory = StoreModel(memory).Expect(command).value().memory;
  return memory;
}

const std::vector<Contents>& Eeproms() {
  static const std::vector<Contents> eeproms = [] {
    const Bytes threeFiles = After({Write(0, 300, 1), Write(1, 200, 2), Write(2, 100, 3)});
    constexpr std::size_t InTheSecondFile = 0x1F2;
    Bytes damaged = threeFiles;
    damaged[InTheSecondFile] ^= 0x10;
    constexpr std::size_t Large = 12'000;
    constexpr std::size_t UpToTheLastPage = 8574;  // after two large ones
    return std::vector<Contents>{
        {"Erased", Bytes(ChipSize, 0xFF)},
        {"OneFile", After({Write(2, 200, 3)})},
        {"TwoFiles", After({Write(0, 500, 1), Write(1, 130, 2)})},
        {"ThreeFiles", threeFiles},
        {"OutOfOrder", After({Write(0, 300, 1), Write(2, 200, 3), Write(1, 100, 2)})},
        {"DamagedFile", damaged},
        {"ListedAtStart", Adoptable()},
        {"RecognisedAtStart", Unlisted(WithoutErasedBytes(Data(Block - ChecksumSize, 9)))},
        {"Full", After({Write(0, Large, 1), Write(1, Large, 2), Write(2, UpToTheLastPage, 3)})}};
  }();
  return eeproms;
}

const Contents& Eeprom(const std::string& name) {
  const auto found = std::ranges::find(Eeproms(), name, &Contents::name);
  if (found == Eeproms().end()) throw std::out_of_range(name);
  return *found;
}

const Contents& ThreeFiles() {
  return Eeprom("ThreeFiles");
}

const std::vector<Command>& Reading() {
  static const std::vector<Command> commands = {{.word = "/R", .file = 0},
                                                {.word = "/R", .file = 2},
                                                {.word = "/V", .file = 0, .host = Data(300, 1)},
                                                {.word = "/V", .file = 1, .host = Data(130, 2)},
                                                {.word = "/RBI"},
                                                {.word = "/RA"},
                                                {.word = "/VA", .host = ThreeFiles().memory}};
  return commands;
}

const std::vector<Command>& Replacing() {
  static const std::vector<Command> commands = {{.word = "/BS", .value = "300"},
                                                {.word = "/DS", .value = "1"},
                                                {.word = "/E"},
                                                {.word = "/WA", .host = Data(700, 3)},
                                                {.word = "/WA", .host = ThreeFiles().memory},
                                                Write(0, Block - ChecksumSize),
                                                WriteLargestFirstFile()};
  return commands;
}

const std::vector<Command>& Writing() {
  static const std::vector<Command> commands = [] {
    std::vector<Command> all = Replacing();
    const auto add = [&all](unsigned int file, std::initializer_list<std::size_t> lengths) {
      for (const std::size_t length : lengths) all.push_back(Write(file, length, 10 + file));
    };
    add(0, {1, 300, 420, 3000, 12'000});
    add(1, {0, 90, 200, 700, 2000, 12'000, 20'000});
    add(2, {1, 100, 200, 210, 3000, 16'318});
    return all;
  }();
  return commands;
}

const std::vector<Command>& All() {
  static const std::vector<Command> commands = Joined(Reading(), Writing());
  return commands;
}

const std::vector<chip_fault>& TornPages() {
  static const std::vector<chip_fault> cuts = {PowerCut(CHIP_FAULT_POWER_ANYTHING, 0),
                                               PowerCut(CHIP_FAULT_POWER_ANYTHING, 1)};
  return cuts;
}

const std::vector<chip_fault>& PowerCuts() {
  static const std::vector<chip_fault> cuts = [] {
    std::vector<chip_fault> all;
    const auto add = [&all](chip_fault_kind kind, unsigned int parameter) {
      all.push_back(PowerCut(kind, parameter));
    };
    add(CHIP_FAULT_POWER_NOTHING, 0);
    for (unsigned int first = 1; first <= PageSize; ++first) add(CHIP_FAULT_POWER_FIRST, first);
    constexpr unsigned int EveryGroup = 0xFFFF;
    for (const unsigned int groups : {0x5555U, 0xAAAAU, 0x00FFU, 0xFF00U, 0x0F0FU, 0xC3A5U}) {
      add(CHIP_FAULT_POWER_GROUPS, groups);
    }
    for (unsigned int group = 1; group < EveryGroup; group *= 2) {
      add(CHIP_FAULT_POWER_GROUPS, group);
      add(CHIP_FAULT_POWER_GROUPS, EveryGroup ^ group);
    }
    return all;
  }();
  return cuts;
}

void MakeReadable(Bytes& memory, const Entry& entry) {
  const auto at = [&](unsigned int i) -> unsigned char& { return memory[(entry.address + i) % ChipSize]; };
  Bytes data;
  for (unsigned int i = 2; i < entry.size; ++i) data.push_back(at(i));
  const Bytes image = StoreModel::Image(data);
  at(0) = image[0];
  at(1) = image[1];
}

namespace {

constexpr unsigned int Seeds = 1000;

unsigned int AnyOf(const Random& below, std::span<const unsigned int> values) {
  return values[below(static_cast<unsigned int>(values.size()))];
}

// Returns a number of up to `bits` bits, most often a small one.
unsigned int AnyBelow(const Random& below, unsigned int bits) {
  constexpr unsigned int FewestBits = 4;
  return below(1U << (FewestBits + below(bits - FewestBits + 1)));
}

// `end` is where the entries so far end.
unsigned int AnyAddress(const Random& below, unsigned int end) {
  constexpr unsigned int Addresses[] = {0,      3,      4,      5,      8,      0x20,   0x40,   0x40,
                                        0x80,   0xC0,   0x141,  0x4040, 0x4100, 0x7000, 0x7FF0, 0x8008,
                                        0x8100, 0xBFC0, 0xFF40, 0xFFA0, 0xFFC0, 0xFFFE, 0xFFFF, 0xFFFF};
  constexpr unsigned int JustBeyondTheChip = ChipSize + 0x200;
  switch (below(4)) {
    case 2:
      return AnyOf(below, Addresses);
    case 3:
      return below(JustBeyondTheChip);
    default:
      return end;
  }
}

unsigned int AnySize(const Random& below) {
  constexpr unsigned int Sizes[] = {0,      2,      3,      0x40,   0x41,   0x100,  0x1000, 0x3F00,
                                    0x4000, 0x7FC0, 0x8000, 0xFF00, 0xFF20, 0xFFFE, 0xFFFF};
  constexpr unsigned int SmallestImage = ChecksumSize + 1;
  return below(3) == 0 ? AnyOf(below, Sizes) : SmallestImage + AnyBelow(below, 12);
}

Entry AnyEntry(const Random& below, unsigned int end, bool isFirst) {
  Entry entry;
  entry.address = AnyAddress(below, end);
  entry.size = AnySize(below);
  const bool endsWithTheChip = below(8) == 0 && entry.address < ChipSize;
  if (endsWithTheChip) entry.size = ChipSize - entry.address;
  const bool isReserved = isFirst && below(4) == 0;
  if (isReserved) entry = ReservedEntry;
  const bool isTorn = below(16) == 0;
  if (isTorn) entry.size |= 0xFF00;
  return entry;
}

// Returns the size of an image that has the size of the entry, reaches from it or from after it to the end
// of the chip or one byte further, or is any other.
std::size_t AnyImageSize(const Random& below, const Entry& entry) {
  switch (below(4)) {
    case 0:
      return entry.size;
    case 1: {
      const std::size_t end = entry.address + entry.size + PageSize - 1;
      const std::size_t start = (below(2) == 0 ? entry.address : end) / PageSize * PageSize;
      return (ChipSize - start) % 0x10000 + below(2);
    }
    default:
      return AnyBelow(below, 15);
  }
}

}  // namespace

Bytes AnyMemory(const Random& below) {
  Bytes memory = Data(ChipSize, below(Seeds));
  StoreModel::Table table{};
  unsigned int end = FileArea;
  for (Entry& entry : table) {
    entry = AnyEntry(below, end, &entry == &table.front());
    const bool othersMayOverlap = below(4) == 0;
    if (othersMayOverlap) continue;
    end = (entry.address + entry.size + PageSize - 1) / PageSize * PageSize % 0x10000;
  }
  StoreModel::PutTable(memory, table);
  for (const Entry& entry : StoreModel(memory).table) {
    const bool isImage = entry.size > ChecksumSize && entry.size <= ChipSize;
    if (isImage && below(4) != 0) MakeReadable(memory, entry);
  }
  return memory;
}

Command AnyCommand(const Random& below, const Bytes& memory) {
  static const std::vector<Command> fixed = Joined(Reading(), Replacing());
  constexpr unsigned int Draws = 40;  // those beyond the fixed commands are writes of any size
  const unsigned int drawn = below(Draws);
  if (drawn < fixed.size()) return fixed[drawn];
  const Entry entry = StoreModel(memory).table[below(Files)];
  const std::size_t size = std::clamp(AnyImageSize(below, entry), ChecksumSize, ChipSize + ChecksumSize);
  const unsigned int file = below(Files);
  return Write(file, size - ChecksumSize, below(Seeds));
}

}  // namespace Catalogue
