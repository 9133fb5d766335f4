#include "support/StoreModel.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <utility>

namespace {

constexpr unsigned int FileArea = 0x40;
constexpr Entry TablePlace = {4, 12};
constexpr int Failed = 5;

// Byte by byte, from the polynomial x^16 + x^15 + x^2 + 1 with its bits reversed.
constexpr std::array<unsigned short, 256> Remainders = [] {
  std::array<unsigned short, 256> remainders{};
  for (unsigned int byte = 0; byte < 256; ++byte) {
    unsigned int sum = byte;
    for (int bit = 0; bit < 8; ++bit) sum = sum >> 1 ^ (sum % 2) * 0xA001;
    remainders[byte] = static_cast<unsigned short>(sum);
  }
  return remainders;
}();

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
  const std::size_t distance = (other.address + 2 * ChipSize - address) % ChipSize;
  return size != 0 && other.size != 0 && (distance < size || ChipSize - distance < other.size);
}

StoreModel::StoreModel(Bytes chipMemory) : memory(std::move(chipMemory)), table() {
  for (unsigned int i = 0; i < Files; ++i) {
    const unsigned char* const raw = &memory[TablePlace.address + 4 * i];
    table[i] = {raw[0] + 256U * raw[1], raw[2] + 256U * raw[3]};
  }
  const bool isTorn = table[0].address == FileArea && table[0].IsTorn();
  if (!table[0].HasPlace() || table[0].size == 0 || table[0].size == 0xFFFF || isTorn) {
    table[0] = ReservedEntry;
    const auto block = memory.begin() + FileArea;
    const auto end = std::find(block, block + ReservedEntry.size, 0xFF);
    if (end != block && end != block + ReservedEntry.size && Content(table[0])) {
      table[0].size = static_cast<unsigned int>(end - block);
      PutTable(memory, table);
    }
  }
  for (unsigned int i = 0; i < Files; ++i) contents[i] = Content(table[i]);
}

unsigned int StoreModel::Checksum(std::span<const unsigned char> data, unsigned int before) {
  unsigned int sum = before ^ 0xFFFF;
  for (const unsigned int byte : data) sum = sum >> 8 ^ Remainders[(sum ^ byte) % 256];
  return sum ^ 0xFFFF;
}

Bytes StoreModel::Image(const Bytes& data) {
  const unsigned int sum = Checksum(data);
  Bytes image(2 + data.size());
  image[0] = static_cast<unsigned char>(sum);
  image[1] = static_cast<unsigned char>(sum >> 8);
  std::ranges::copy(data, image.begin() + 2);
  return image;
}

std::optional<Bytes> StoreModel::Content(const Entry& entry) const {
  if (!entry.HasPlace() || entry.size < 3 || entry.size == 0xFFFF) return std::nullopt;
  Bytes image(entry.size);
  for (unsigned int i = 0; i < entry.size; ++i) image[i] = memory[(entry.address + i) % ChipSize];
  const std::span<const unsigned char> data = std::span(image).subspan(2);
  const unsigned int stored = image[0] + 256U * image[1];
  if (Checksum(data) != stored) return std::nullopt;
  return Bytes(data.begin(), data.end());
}

void StoreModel::PutTable(Bytes& memory, const Table& table) {
  auto to = memory.begin() + TablePlace.address;
  for (const auto& [address, size] : table) {
    for (const unsigned int value : {address, address >> 8, size, size >> 8}) {
      *to++ = static_cast<unsigned char>(value);
    }
  }
}

std::optional<Expectation> StoreModel::ExpectWrite(const Command& command) const {
  const unsigned int file = command.file;
  const Entry old = table[file];
  std::vector<std::pair<unsigned int, Bytes>> images = {{file, Image(command.host)}};
  const bool keepsSize = old.HasPlace() && old.size == images[0].second.size();
  Table after = table;
  for (unsigned int other = file + 1; other < Files && old.HasPlace() && !keepsSize; ++other) {
    if (!contents[other]) continue;
    images.emplace_back(other, Image(*contents[other]));
    after[other] = {};
  }
  Expectation expected{.memory = memory};
  for (const auto& [placed, image] : images) {
    const unsigned int start = after[placed].HasPlace() ? after[placed].address : FollowingStart(after);
    after[placed] = {start, static_cast<unsigned int>(image.size())};
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
    end = std::max<std::size_t>(end, entry.address + entry.size);
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
    put(1, {static_cast<unsigned char>(number), static_cast<unsigned char>(number >> 8)});
  } else if (command.Is("/DS")) {
    put(3, {static_cast<unsigned char>(number == 1 ? 0xA5 : 0)});
  } else {  // /E, /WA
    if (command.host.size() > ChipSize) return Expectation{.exit = Failed, .memory = memory};
    expected.memory.assign(ChipSize, 0xFF);
    put(0, command.host);
  }
  return expected;
}
