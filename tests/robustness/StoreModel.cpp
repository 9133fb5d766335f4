#include "robustness/StoreModel.h"

#include <algorithm>
#include <cstdio>
#include <span>
#include <utility>

namespace {

constexpr unsigned int TableStart = 4;
constexpr unsigned int FileArea = 0x40;
constexpr unsigned int Reserved = 0x4000;
constexpr unsigned int Erased = 0xFFFF;
constexpr int Failed = 5;

// Byte by byte, from the polynomial x^16 + x^15 + x^2 + 1 with its bits turned round.
constexpr std::array<unsigned short, 256> Remainders = [] {
  std::array<unsigned short, 256> remainders{};
  for (unsigned int byte = 0; byte < 256; ++byte) {
    unsigned int sum = byte;
    for (int bit = 0; bit < 8; ++bit) sum = sum >> 1 ^ (sum % 2) * 0xA001;
    remainders[byte] = static_cast<unsigned short>(sum);
  }
  return remainders;
}();

unsigned int Checksum(std::span<unsigned char const> data) {
  unsigned int sum = 0;
  for (const unsigned int byte : data) sum = sum >> 8 ^ Remainders[(sum ^ byte) % 256];
  return ~sum % 65536;
}

bool HasAddress(unsigned int address) {
  return address >= 4 && address != Erased;
}

bool HasSize(unsigned int size) {
  return size != 0 && size != Erased;
}

void Mark(Bytes& mask, unsigned int start, std::size_t length) {
  std::fill_n(mask.begin() + start, length, 0xFF);
}

Bytes InformationText(Bytes const& memory) {
  std::string text;
  for (unsigned int i = 0; i < 64; ++i) {
    char digits[3];
    std::snprintf(digits, sizeof digits, "%02x", memory[i]);
    text += digits;
    text += i % 16 == 15 ? "\r\n" : i % 4 == 3 ? "  " : " ";
  }
  return {text.begin(), text.end()};
}

}  // namespace

bool Command::Writes() const {
  return kind == Kind::Write || kind == Kind::WriteAll || kind == Kind::Erase || kind == Kind::Revision ||
         kind == Kind::Developer;
}

std::string Command::Word() const {
  static constexpr char const* Words[] = {"/R", "/W", "/V", "/RA", "/WA", "/VA", "/E", "/BS", "/DS", "/RBI"};
  return Words[static_cast<int>(kind)];
}

std::string Command::Name() const {
  std::string name = Word();
  if (kind <= Kind::Verify) name += " " + std::to_string(file + 1);
  if (kind == Kind::Revision || kind == Kind::Developer) name += " " + std::to_string(number);
  if (!host.empty() || kind == Kind::Write) name += " (" + std::to_string(host.size()) + " bytes)";
  return name;
}

StoreModel::StoreModel(Bytes chipMemory, Start start) : memory(std::move(chipMemory)), table() {
  if (start == Start::NoTable) return;
  for (unsigned int i = 0; i < table.size(); ++i) {
    unsigned char const* const raw = &memory[TableStart + 4 * i];
    table[i] = {raw[0] + 256U * raw[1], raw[2] + 256U * raw[3]};
  }
  const bool torn = table[0].address == FileArea && IsTorn(table[0]);
  if (HasAddress(table[0].address) && HasSize(table[0].size) && !torn) return;
  table[0] = {FileArea, Reserved};
  if (start == Start::NotRecognised || !IsReadable(0)) return;
  const auto block = memory.begin() + FileArea;
  const auto length = std::find(block, block + Reserved, 0xFF) - block;
  if (length == 0 || length == Reserved) return;
  table[0].size = static_cast<unsigned int>(length);
  if (start != Start::NotListed) memory = WithTable(std::move(memory), table);
}

Bytes StoreModel::Image(Bytes const& data) {
  const unsigned int sum = Checksum(data);
  Bytes image(2 + data.size());
  image[0] = static_cast<unsigned char>(sum);
  image[1] = static_cast<unsigned char>(sum >> 8);
  std::copy(data.begin(), data.end(), image.begin() + 2);
  return image;
}

// The chip's addresses go round at the end of its memory.
Bytes StoreModel::Stored(Entry const& entry) const {
  Bytes image(entry.size);
  for (unsigned int i = 0; i < entry.size; ++i) image[i] = memory[(entry.address + i) % ChipSize];
  return image;
}

std::optional<Bytes> StoreModel::Content(unsigned int file) const {
  Entry const& entry = table[file];
  if (!HasAddress(entry.address) || !HasSize(entry.size) || entry.size < 3) return std::nullopt;
  const Bytes image = Stored(entry);
  Bytes data(image.begin() + 2, image.end());
  if (Checksum(data) != image[0] + 256U * image[1]) return std::nullopt;
  return data;
}

Bytes StoreModel::WithTable(Bytes memory, Table const& table) {
  auto* raw = &memory[TableStart];
  for (Entry const& entry : table) {
    for (const unsigned int value : {entry.address, entry.size}) {
      *raw++ = static_cast<unsigned char>(value);
      *raw++ = static_cast<unsigned char>(value >> 8);
    }
  }
  return memory;
}

// The last byte was not written: no image is that long.
bool StoreModel::IsTorn(Entry const& entry) {
  return HasAddress(entry.address) && entry.size >= 0xFF00;
}

unsigned int StoreModel::FollowingStart(Table const& table) {
  unsigned int highest = 0;
  unsigned int end = FileArea;
  for (Entry const& entry : table) {
    if (!HasAddress(entry.address) || entry.address <= highest) continue;
    highest = entry.address;
    end = entry.address + entry.size;
  }
  return (end + 63) / 64 * 64 % 65536;
}

std::vector<unsigned int> StoreModel::ReadableAfter(unsigned int file, bool orAbove) const {
  std::vector<unsigned int> files;
  for (unsigned int i = 0; i < table.size(); ++i) {
    const bool follows = i > file || (orAbove && table[i].address > table[file].address);
    if (i != file && follows && IsReadable(i)) files.push_back(i);
  }
  return files;
}

StoreModel::Layout StoreModel::Lay(unsigned int file, unsigned int length, bool stays,
                                   std::vector<unsigned int> const& moving, unsigned int lost) const {
  Layout layout{.table = table};
  std::vector<bool> owned(ChipSize);
  unsigned int highestEnd = 0;
  const auto own = [&](unsigned int start, unsigned int size) {
    for (unsigned int i = 0; i < size; ++i) owned[(start + i) % ChipSize] = true;
    highestEnd = std::max(highestEnd, start + size);
  };
  const auto isFree = [&](unsigned int start, unsigned int size) {
    for (std::size_t i = start; i < std::min<std::size_t>(start + size, ChipSize); ++i) {
      if (owned[i]) return false;
    }
    return true;
  };
  for (const unsigned int other : moving) layout.table[other] = {Erased, Erased};
  for (unsigned int other = 0; other < table.size(); ++other) {
    if (other != file && layout.table[other].address != Erased && IsReadable(other)) {
      own(table[other].address, table[other].size);
    }
  }
  if (!stays) layout.table[file] = {Erased, Erased};
  const bool tableIsFree = isFree(TableStart, 12);
  const auto fits = [](unsigned int start, unsigned int size) {
    return start >= FileArea && start + size <= ChipSize;
  };
  const auto place = [&](unsigned int which, unsigned int size, bool anew) {
    unsigned int start = anew ? FollowingStart(layout.table) : table[which].address;
    if (anew && !fits(start, size)) {
      Table whole = layout.table;
      std::replace_if(whole.begin(), whole.end(), IsTorn, Entry{Erased, Erased});
      start = FollowingStart(whole);
    }
    if (anew && !isFree(start, size)) start = (std::max(highestEnd, FileArea) + 63) / 64 * 64;
    if (!isFree(start, size)) return Layout::Problem::InTheWay;
    if (!fits(start, size)) return Layout::Problem::NoRoom;
    const bool isLost = which != file && (lost >> which & 1) != 0;
    layout.placed.push_back({which, start, isLost});
    if (isLost) return Layout::Problem::None;
    own(start, size);
    layout.table[which] = {start, size};
    return Layout::Problem::None;
  };
  layout.problem = place(file, length, !stays);
  if (layout.problem != Layout::Problem::None) return layout;
  for (const unsigned int other : moving) {
    if (place(other, table[other].size, true) != Layout::Problem::None) {
      layout.problem = Layout::Problem::NoRoom;
    }
  }
  const bool writesTable = !stays || table[file].size != length;
  if (writesTable && !tableIsFree) layout.problem = Layout::Problem::NoRoom;
  return layout;
}

// The files numbered after one that changes its size move; those above it only where that does not do.
StoreModel::Layout StoreModel::Choose(unsigned int file, unsigned int length, unsigned int lost) const {
  if (!HasAddress(table[file].address)) return Lay(file, length, false, {}, lost);
  const bool sameSize = table[file].size == length;
  const auto after = sameSize ? std::vector<unsigned int>() : ReadableAfter(file, false);
  Layout layout = Lay(file, length, true, after, lost);
  if (layout.problem != Layout::Problem::None && !sameSize) {
    layout = Lay(file, length, true, ReadableAfter(file, true), lost);
  }
  const bool torn = layout.problem != Layout::Problem::None && IsTorn(table[file]);
  if (torn || layout.problem == Layout::Problem::InTheWay) layout = Lay(file, length, false, {}, lost);
  return layout;
}

Expectation StoreModel::ExpectWrite(Command const& command, unsigned int lost) const {
  Expectation expected{
      .exit = Failed, .memory = memory, .mayChange = Bytes(ChipSize), .unknown = Bytes(ChipSize)};
  if (command.host.size() > ChipSize) return expected;
  const Bytes image = Image(command.host);
  const auto length = static_cast<unsigned int>(image.size());
  const bool sameSize = HasAddress(table[command.file].address) && table[command.file].size == length;
  if (Choose(command.file, length, 0).problem != Layout::Problem::None) return expected;
  const Layout layout = Choose(command.file, length, lost);
  for (const auto& [file, start, isLost] : layout.placed) {
    const Bytes bytes = file == command.file ? image : Stored(table[file]);
    if (isLost) {
      Mark(expected.unknown, start, bytes.size());
    } else {
      std::copy(bytes.begin(), bytes.end(), expected.memory.begin() + start);
      std::fill_n(expected.unknown.begin() + start, bytes.size(), 0);
    }
    Mark(expected.mayChange, start, bytes.size());
    if (file != command.file) expected.moved.push_back(file);
  }
  expected.exit = 0;
  if (sameSize && layout.placed.front().start == table[command.file].address) return expected;
  expected.memory = WithTable(std::move(expected.memory), layout.table);
  Mark(expected.mayChange, TableStart, 12);
  return expected;
}

Expectation StoreModel::Expect(Command const& command, unsigned int lost) const {
  if (command.kind == Command::Kind::Write) return ExpectWrite(command, lost);
  Expectation expected{.memory = memory, .mayChange = Bytes(ChipSize), .unknown = Bytes(ChipSize)};
  const auto set = [&](unsigned int start, Bytes const& bytes) {
    std::copy(bytes.begin(), bytes.end(), expected.memory.begin() + start);
    Mark(expected.mayChange, start, bytes.size());
  };
  switch (command.kind) {
    case Command::Kind::Read:
      expected.host = Content(command.file);
      expected.exit = expected.host ? 0 : Failed;
      break;
    case Command::Kind::Verify:
      expected.exit = Content(command.file) == command.host ? 0 : Failed;
      break;
    case Command::Kind::VerifyAll:
      expected.exit = memory == command.host ? 0 : Failed;
      break;
    case Command::Kind::ReadAll:
      expected.host = memory;
      break;
    case Command::Kind::Information:
      expected.host = InformationText(memory);
      break;
    case Command::Kind::WriteAll: {
      Bytes image = command.host;
      image.resize(ChipSize, 0xFF);
      set(0, image);
      break;
    }
    case Command::Kind::Erase:
      set(0, Bytes(ChipSize, 0xFF));
      break;
    case Command::Kind::Revision:
      set(1, {static_cast<unsigned char>(command.number), static_cast<unsigned char>(command.number >> 8)});
      break;
    case Command::Kind::Developer:
      set(3, {static_cast<unsigned char>(command.number == 1 ? 0xA5 : 0)});
      break;
    default:
      break;
  }
  return expected;
}
