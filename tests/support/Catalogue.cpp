#include "support/Catalogue.h"

#include <algorithm>
#include <random>
#include <stdexcept>

namespace Catalogue {

namespace {

constexpr std::size_t Block = 0x4000;  // the place reserved for the peripheral configuration file
constexpr unsigned int FileArea = 0x40;

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
  Bytes data = WithoutErasedBytes(Data(700, 8));
  const unsigned int wanted = StoreModel::Checksum(data);
  data.resize(Block - 4, 0xFF);
  const unsigned int before = StoreModel::Checksum(data);
  Bytes last(2);
  for (unsigned int word = 0; StoreModel::Checksum(last, before) != wanted; ++word) {
    last = {static_cast<unsigned char>(word), static_cast<unsigned char>(word >> 8)};
  }
  data.insert(data.end(), last.begin(), last.end());
  return Unlisted(data);
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

Bytes After(const std::vector<Command>& commands) {
  Bytes memory(ChipSize, 0xFF);
  for (const Command& command : commands) memory = StoreModel(memory).Expect(command).value().memory;
  return memory;
}

const std::vector<Contents>& Eeproms() {
  static const std::vector<Contents> eeproms = [] {
    const Bytes threeFiles = After({Write(0, 300, 1), Write(1, 200, 2), Write(2, 100, 3)});
    Bytes damaged = threeFiles;
    damaged[0x1C0 + 50] ^= 0x10;
    return std::vector<Contents>{
        {"Erased", Bytes(ChipSize, 0xFF)},
        {"OneFile", After({Write(2, 200, 3)})},
        {"TwoFiles", After({Write(0, 500, 1), Write(1, 130, 2)})},
        {"ThreeFiles", threeFiles},
        {"OutOfOrder", After({Write(0, 300, 1), Write(2, 200, 3), Write(1, 100, 2)})},
        {"DamagedFile", damaged},
        {"ListedAtStart", Adoptable()},
        {"RecognisedAtStart", Unlisted(WithoutErasedBytes(Data(Block - 2, 9)))},
        {"Full", After({Write(0, 12'000, 1), Write(1, 12'000, 2), Write(2, 8574, 3)})},
    };
  }();
  return eeproms;
}

const Contents& ThreeFiles() {
  return Eeproms()[3];
}

const std::vector<Command>& All() {
  static const std::vector<Command> commands = [] {
    std::vector<Command> all = {{.word = "/R", .file = 0},
                                {.word = "/R", .file = 2},
                                {.word = "/V", .file = 0, .host = Data(300, 1)},
                                {.word = "/V", .file = 1, .host = Data(130, 2)},
                                {.word = "/RBI"},
                                {.word = "/RA"},
                                {.word = "/VA", .host = ThreeFiles().memory}};
    all.insert(all.end(), Writing().begin(), Writing().end());
    return all;
  }();
  return commands;
}

const std::vector<Command>& Writing() {
  static const std::vector<Command> commands = [] {
    std::vector<Command> all = {{.word = "/BS", .value = "300"},
                                {.word = "/DS", .value = "1"},
                                {.word = "/E"},
                                {.word = "/WA", .host = Data(700, 3)},
                                {.word = "/WA", .host = ThreeFiles().memory},
                                Write(0, Block - 2),
                                {.word = "/W", .host = WithoutErasedBytes(Data(Block - 2, 1))}};
    for (const unsigned int length : {1U, 300U, 420U, 3000U, 12'000U}) all.push_back(Write(0, length, 10));
    for (const unsigned int length : {0U, 90U, 200U, 700U, 2000U, 12'000U, 20'000U})
      all.push_back(Write(1, length, 11));
    for (const unsigned int length : {1U, 100U, 200U, 210U, 3000U, 16'318U})
      all.push_back(Write(2, length, 12));
    return all;
  }();
  return commands;
}

const std::vector<chip_fault>& PowerCuts() {
  static const std::vector<chip_fault> cuts = [] {
    constexpr unsigned int PageSize = 64;
    std::vector<chip_fault> all = {{CHIP_FAULT_POWER_NOTHING, 1, 1, 0, 0}};
    for (unsigned int first = 1; first <= PageSize; ++first) {
      all.push_back({CHIP_FAULT_POWER_FIRST, 1, 1, first, 0});
    }
    std::vector<unsigned int> masks = {0x5555U, 0xAAAAU, 0x00FFU, 0xFF00U, 0x0F0FU, 0xC3A5U};
    for (unsigned int group = 0; group < PageSize / 4; ++group) {
      masks.insert(masks.end(), {1U << group, 0xFFFFU ^ 1U << group});
    }
    for (const unsigned int mask : masks) all.push_back({CHIP_FAULT_POWER_GROUPS, 1, 1, mask, 0});
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

Bytes AnyMemory(const Random& below) {
  constexpr unsigned int Addresses[] = {0,      3,      4,      5,      8,      0x20,   0x40,   0x40,
                                        0x80,   0xC0,   0x141,  0x4040, 0x4100, 0x7000, 0x7FF0, 0x8008,
                                        0x8100, 0xBFC0, 0xFF40, 0xFFA0, 0xFFC0, 0xFFFE, 0xFFFF, 0xFFFF};
  constexpr unsigned int Sizes[] = {0,      2,      3,      0x40,   0x41,   0x100,  0x1000, 0x3F00,
                                    0x4000, 0x7FC0, 0x8000, 0xFF00, 0xFF20, 0xFFFE, 0xFFFF};
  Bytes memory = Data(ChipSize, below(1000));
  StoreModel::Table table{};
  unsigned int end = FileArea;
  for (unsigned int file = 0; file < Files; ++file) {
    Entry entry;
    const unsigned int kind = below(4);
    entry.address = kind < 2 ? end : kind == 2 ? Addresses[below(std::size(Addresses))] : below(0x8200);
    entry.size = below(3) != 0 ? 3 + below(1U << (4 + below(9))) : Sizes[below(std::size(Sizes))];
    if (below(8) == 0 && entry.address < ChipSize) entry.size = ChipSize - entry.address;
    if (file == 0 && below(4) == 0) entry = {FileArea, Block};
    if (below(16) == 0) entry.size |= 0xFF00;  // torn
    if (below(4) != 0) end = (entry.address + entry.size + 63) / 64 * 64 % 0x10000;
    table[file] = entry;
  }
  StoreModel::PutTable(memory, table);
  for (const Entry& entry : StoreModel(memory).table) {
    if (entry.size >= 3 && entry.size <= ChipSize && below(4) != 0) MakeReadable(memory, entry);
  }
  return memory;
}

Command AnyCommand(const Random& below, const Bytes& memory) {
  const unsigned int number = below(40);
  if (number < 14) return All()[number];  // the seven that read, and seven that write
  const auto [address, size] = StoreModel(memory).table[below(Files)];
  std::size_t length = size;
  const unsigned int kind = below(4);
  if (kind == 1) {  // to the end of the chip, from the entry or from after it, or one byte further
    length = (address + below(2) * (size + 63)) / 64 * 64;
    length = (ChipSize - length) % 0x10000 + below(2);
  } else if (kind > 1) {
    length = below(1U << (4 + below(12)));
  }
  return Write(below(Files), std::clamp<std::size_t>(length, 2, ChipSize + 2) - 2, below(1000));
}

}  // namespace Catalogue
