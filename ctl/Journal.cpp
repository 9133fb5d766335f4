#include "ctl/Journal.h"

#include <algorithm>
#include <string_view>

namespace {

using Bytes = std::vector<unsigned char>;

constexpr std::string_view Magic = "BRINDLEJ";
constexpr unsigned int FirstVersion = 1;
constexpr unsigned int Version = 2;
constexpr std::size_t ChecksumSize = 4;

void Append(Bytes& bytes, unsigned long number, int width) {
  for (int i = 0; i < width; ++i) bytes.push_back(static_cast<unsigned char>(number >> 8 * i));
}

unsigned int Checksum(std::span<const unsigned char> bytes) {
  constexpr unsigned int Polynomial = 0xEDB88320;
  unsigned int remainder = 0xFFFFFFFF;
  for (const unsigned char byte : bytes) {
    remainder ^= byte;
    for (int bit = 0; bit < 8; ++bit) remainder = remainder >> 1 ^ ((remainder & 1) != 0 ? Polynomial : 0);
  }
  return ~remainder;
}

void AppendPages(Bytes& bytes, const PageSet& pages) {
  constexpr std::size_t PagesInAByte = 8;
  for (std::size_t page = 0; page < PageCount; page += PagesInAByte) {
    unsigned char byte = 0;
    for (std::size_t i = 0; i < PagesInAByte; ++i) {
      byte = static_cast<unsigned char>(byte | (pages[page + i] ? 1U << i : 0U));
    }
    bytes.push_back(byte);
  }
}

// Takes one field after the other. A field that is not there in full is empty, or 0.
class Reader final {
 public:
  explicit Reader(std::span<const unsigned char> bytes) : rest(bytes) {}

  std::span<const unsigned char> Take(std::size_t size) {
    const auto taken = rest.first(std::min(size, rest.size()));
    rest = rest.subspan(taken.size());
    return taken.size() == size ? taken : std::span<const unsigned char>();
  }

  unsigned int TakeNumber(std::size_t width) {
    unsigned int number = 0;
    const auto bytes = Take(width);
    for (std::size_t i = bytes.size(); i > 0; --i) number = number << 8 | bytes[i - 1];
    return number;
  }

  [[nodiscard]] std::size_t Rest() const { return rest.size(); }

 private:
  std::span<const unsigned char> rest;
};

PageSet TakePages(Reader& reader) {
  PageSet pages;
  const auto bytes = reader.Take(PageCount / 8);
  for (std::size_t page = 0; page < 8 * bytes.size(); ++page) {
    pages.set(page, (bytes[page / 8] >> page % 8 & 1) != 0);
  }
  return pages;
}

}  // namespace

bool Journal::Begins(std::span<const unsigned char> bytes) {
  const auto start = bytes.first(std::min(bytes.size(), Magic.size()));
  return std::equal(start.begin(), start.end(), Magic.begin());
}

Bytes Journal::Encode() const {
  Bytes bytes(Magic.begin(), Magic.end());
  Append(bytes, Version, 2);
  Append(bytes, slave, 2);
  Append(bytes, chip.size(), 2);
  bytes.insert(bytes.end(), chip.begin(), chip.end());
  AppendPages(bytes, pages);
  bytes.insert(bytes.end(), old.begin(), old.end());
  bytes.insert(bytes.end(), target.begin(), target.end());
  Append(bytes, Checksum(bytes), ChecksumSize);
  return bytes;
}

std::optional<Journal> Journal::Decode(std::span<const unsigned char> bytes) {
  Reader reader(bytes);
  const auto magic = reader.Take(Magic.size());
  const unsigned int version = reader.TakeNumber(2);
  Journal journal;
  journal.slave = static_cast<unsigned short>(reader.TakeNumber(2));
  if (version == Version) {
    const auto name = reader.Take(reader.TakeNumber(2));
    journal.chip.assign(name.begin(), name.end());
    journal.pages = TakePages(reader);
  } else {
    journal.pages.set();
  }
  const auto old = reader.Take(EepromSize);
  const auto target = reader.Take(EepromSize);
  if (version < FirstVersion || version > Version || reader.Rest() != ChecksumSize) return std::nullopt;
  const bool isWhole = std::equal(magic.begin(), magic.end(), Magic.begin(), Magic.end()) && !old.empty() &&
                       !target.empty() &&
                       reader.TakeNumber(ChecksumSize) == Checksum(bytes.first(bytes.size() - ChecksumSize));
  if (!isWhole) return std::nullopt;
  journal.old.assign(old.begin(), old.end());
  journal.target.assign(target.begin(), target.end());
  return journal;
}
