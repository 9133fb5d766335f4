// What a command makes of an EEPROM, as far as the rules leave no choice. Shares no code with the product.
//
// Addresses and lengths are in bytes; files are numbered from 0. All functions are pure.
#pragma once

#include <array>
#include <optional>
#include <span>
#include <string>
#include <vector>

using Bytes = std::vector<unsigned char>;

constexpr std::size_t ChipSize = 32768;
constexpr unsigned int Files = 3;

struct Command {
  std::string word;
  unsigned int file = 0;
  Bytes host = {};         // content of the host file, for the commands that read one
  std::string value = {};  // of /BS and /DS

  [[nodiscard]] bool Is(const char* other) const { return word == other; }
  [[nodiscard]] bool NamesFile() const { return Is("/R") || Is("/W") || Is("/V"); }
  [[nodiscard]] bool MakesHostFile() const { return Is("/R") || Is("/RA") || Is("/RBI"); }
  [[nodiscard]] std::string Name() const;  // for messages
};

struct Entry {
  unsigned int address = 0xFFFF;
  unsigned int size = 0xFFFF;

  [[nodiscard]] bool HasPlace() const { return address >= 4 && address != 0xFFFF; }
  // The power went before the last byte was written: no image is that long.
  [[nodiscard]] bool IsTorn() const { return HasPlace() && size >= 0xFF00; }
  [[nodiscard]] bool Overlaps(const Entry& other) const;  // in the chip, whose addresses wrap
  bool operator==(const Entry&) const = default;
};

constexpr Entry ReservedEntry = {0x40, 0x4000};  // for the peripheral configuration file

struct Expectation {
  int exit = 0;
  std::optional<Bytes> host = {};  // the host file that the command makes
  Bytes memory = {};               // of the chip afterwards
};

class StoreModel final {
 public:
  using Table = std::array<Entry, Files>;

  explicit StoreModel(Bytes chipMemory);

  // No value where a write in the usual place does not fit or would overwrite another readable file.
  [[nodiscard]] std::optional<Expectation> Expect(const Command& command) const;

  // Returns whether a write has so much room that it may not be refused: after all images that have a place
  // there is enough for the new image and all readable ones.
  [[nodiscard]] bool HasAmpleRoom(const Command& write) const;

  // The checksum of data that follows others, whose checksum is `before`.
  static unsigned int Checksum(std::span<const unsigned char> data, unsigned int before = 0xFFFF);
  static Bytes Image(const Bytes& data);  // checksum and data
  static void PutTable(Bytes& memory, const Table& table);

  Bytes memory;  // after start-up, which may have listed the peripheral configuration file
  Table table;
  std::array<std::optional<Bytes>, Files> contents;  // no value for a file that is absent or damaged

 private:
  void ReserveOrList();
  [[nodiscard]] std::optional<Bytes> Content(const Entry& entry) const;
  [[nodiscard]] std::optional<Expectation> ExpectWrite(const Command& command) const;
};
