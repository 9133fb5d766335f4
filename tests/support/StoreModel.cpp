#include "support/StoreModel.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <utility>

namespace {

constexpr unsigned int FileArea = 0x40;
constexpr Entry TablePlace = {4, 12};
constexpr int Failed = 5;
constexpr unsigned char DeveloperBoard = 0xA5;
constexpr unsigned char OtherBoard = 0;

constexpr unsigned int Polynomial = 0xA001;  // x^16 + x^15 + x^2 + 1 with its bits reversed

// What each byte leaves of the polynomial.
constexpr std::array<unsigned short, 256> Remainders = [] {
  std::array<unsigned short, 256> remainders{};
  for (unsigned int byte = 0; byte < 256; ++byte) {
    unsigned int sum = byte;
    for (int bit = 0; bit < 8; ++bit) {
      const unsigned int lowest = sum % 2;
      sum = sum >> 1 ^ lowest * Polynomial;
    }
    remainders[byte] = static_cast<unsigned short>(sum);
  }
  return remainders;
}();

unsigned char Low(unsigned int value) {
  return static_cast<unsigned char>(value);
}

unsigned int RoundedUp(std::size_t address) {
  return static_cast<unsigned int>((address + 63) / 64 * 64);
}

// The end of the file with the highest address. A torn entry does not tell where its file ends.
unsigned int FollowingStart(std::span<const Entry> table) {
  Entry highest = {0, FileArea};
  for (const Entry& entry : table) {
    const bool leads = entry.HasPlace() && !entry.IsTorn();
    if (leads && entry.address > highest.address) highest = entry;
  }
  return RoundedUp(highest.address + highest.size) % 65536;
}

Bytes InformationText(const Bytes& memory) {
  std::string text;
  for (unsigned int i = 0; i < 64; ++i) {
    char digits[3];
    std::snprintf(digits, sizeof digits, "%02x", memory[i]);
    text += digits;
    const unsigned int shown = i + 1;
    if (shown % 16 == 0) {
      text += "\r\n";
    } else if (shown % 4 == 0) {
      text += "  ";
    } else {
      text += " ";
    }
  }
  return {text.begin(), text.end()};
}

}  // namespace

std::string Command::Name() const {
  std::string name = word;
  if (NamesFile()) name += " " + std::to_string(file + 1);
  if (!value.empty()) name += " " + value;
  if (!host.empty() || Is("/W")) name += " (" + std::to_string(host.size()) + " bytes)";
  return name;
}

bool Entry::Overlaps(const Entry& other) const {
  if (size == 0 || other.size == 0) return false;
  const std::size_t distance = (other.address + 2 * ChipSize - address) % ChipSize;
  return distance < size || ChipSize - distance < other.size;
}

StoreModel::StoreModel(Bytes chipMemory) : memory(std::move(chipMemory)), table() {
  const unsigned char* raw = &memory[TablePlace.address];
  for (Entry& entry : table) {
    entry.address = raw[0] + 256U * raw[1];
    entry.size = raw[2] + 256U * raw[3];
    raw += 4;
  }
  const Entry& first = table[0];
  const bool isTorn = first.address == FileArea && first.IsTorn();
  const bool isUsable = first.HasPlace() && first.size != 0 && first.size != 0xFFFF;
  if (!isUsable || isTorn) ReserveOrList();
  for (unsigned int i = 0; i < Files; ++i) {
    contents[i] = Content(table[i]);
  }
}

// The file is taken to end before its first erased byte.
void StoreModel::ReserveOrList() {
  table[0] = ReservedEntry;
  const auto block = memory.begin() + FileArea;
  const auto blockEnd = block + ReservedEntry.size;
  const auto end = std::find(block, blockEnd, 0xFF);
  if (end == block || end == blockEnd || !Content(table[0])) return;
  table[0].size = static_cast<unsigned int>(end - block);
  PutTable(memory, table);
}

unsigned int StoreModel::Checksum(std::span<const unsigned char> data, unsigned int before) {
  unsigned int sum = before ^ 0xFFFF;
  for (const unsigned int byte : data) {
    sum = sum >> 8 ^ Remainders[(sum ^ byte) % 256];
  }
  return sum ^ 0xFFFF;
}

Bytes StoreModel::Image(const Bytes& data) {
  const unsigned int sum = Checksum(data);
  Bytes image(2 + data.size());
  image[0] = Low(sum);
  image[1] = Low(sum >> 8);
  std::ranges::copy(data, image.begin() + 2);
  return image;
}

std::optional<Bytes> StoreModel::Content(const Entry& entry) const {
  if (!entry.HasPlace() || entry.size < 3 || entry.size == 0xFFFF) return std::nullopt;
  Bytes image(entry.size);
  for (unsigned int i = 0; i < entry.size; ++i) {
    image[i] = memory[(entry.address + i) % ChipSize];
  }
  const std::span<const unsigned char> data = std::span(image).subspan(2);
  const unsigned int stored = image[0] + 256U * image[1];
  if (Checksum(data) != stored) return std::nullopt;
  return Bytes(data.begin(), data.end());
}

void StoreModel::PutTable(Bytes& memory, const Table& table) {
  auto to = memory.begin() + TablePlace.address;
  for (const auto& [address, size] : table) {
    for (const unsigned int value : {address, address >> 8, size, size >> 8}) {
      *to++ = Low(value);
    }
  }
}

std::optional<Expectation> StoreModel::ExpectWrite(const Command& command) const {
  const unsigned int file = command.file;
  const Entry old = table[file];
  std::vector<std::pair<unsigned int, Bytes>> images = {{file, Image(command.host)}};
  const bool keepsSize = old.HasPlace() && old.size == images[0].second.size();
  Table after = table;
  const bool changesSize = old.HasPlace() && !keepsSize;
  for (unsigned int other = file + 1; other < Files; ++other) {
    if (!changesSize || !contents[other]) continue;
    images.emplace_back(other, Image(*contents[other]));
    after[other] = {};
  }
  Expectation expected{.memory = memory};
  for (const auto& [placed, image] : images) {
    const bool stays = after[placed].HasPlace();
    const unsigned int start = stays ? after[placed].address : FollowingStart(after);
    after[placed].address = start;
    after[placed].size = static_cast<unsigned int>(image.size());
    if (start < FileArea || start + image.size() > ChipSize) return std::nullopt;
    std::copy(image.begin(), image.end(), expected.memory.begin() + start);
  }
  for (unsigned int other = 0; other < Files; ++other) {
    if (other != file && !contents[other]) continue;
    for (const auto& [placed, image] : images) {
      if (placed != other && after[placed].Overlaps(after[other])) return std::nullopt;
    }
    if (!keepsSize && TablePlace.Overlaps(after[other])) return std::nullopt;
  }
  if (!keepsSize) PutTable(expected.memory, after);
  return expected;
}

bool StoreModel::HasAmpleRoom(const Command& write) const {
  std::size_t end = FileArea;
  std::size_t needed = RoundedUp(write.host.size() + 2);
  for (unsigned int file = 0; file < Files; ++file) {
    const Entry& entry = table[file];
    // Its bytes have the right checksum by chance, so they may not be overwritten.
    if (entry.IsTorn() && contents[file]) return false;
    if (!entry.HasPlace() || entry.IsTorn()) continue;
    if (entry.address < FileArea || entry.address + entry.size > ChipSize) return false;
    const std::size_t entryEnd = entry.address + entry.size;
    end = std::max(end, entryEnd);
    if (file != write.file && contents[file]) needed += RoundedUp(entry.size);
  }
  return RoundedUp(end) + needed <= ChipSize;
}

std::optional<Expectation> StoreModel::Expect(const Command& command) const {
  if (command.Is("/W")) return ExpectWrite(command);
  Expectation expected{.memory = memory};
  const auto put = [&](std::size_t start, const Bytes& bytes) {
    std::copy(bytes.begin(), bytes.end(), expected.memory.begin() + static_cast<long>(start));
  };
  const auto number = static_cast<unsigned int>(std::strtoul(command.value.c_str(), nullptr, 10));
  if (command.Is("/R")) {
    expected.host = contents[command.file];
    expected.exit = expected.host ? 0 : Failed;
  } else if (command.Is("/V")) {
    expected.exit = contents[command.file] == command.host ? 0 : Failed;
  } else if (command.Is("/VA")) {
    expected.exit = memory == command.host ? 0 : Failed;
  } else if (command.Is("/RA")) {
    expected.host = memory;
  } else if (command.Is("/RBI")) {
    expected.host = InformationText(memory);
  } else if (command.Is("/BS")) {
    put(1, {Low(number), Low(number >> 8)});
  } else if (command.Is("/DS")) {
    put(3, {number == 1 ? DeveloperBoard : OtherBoard});
  } else {  // /E, /WA
    if (command.host.size() > ChipSize) return Expectation{.exit = Failed, .memory = memory};
    expected.memory.assign(ChipSize, 0xFF);
    put(0, command.host);
  }
  return expected;
}
