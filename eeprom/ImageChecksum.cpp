#include "eeprom/ImageChecksum.h"

#include <array>

namespace {

constexpr unsigned int ReflectedPolynomial = 0xA001;

using Table = std::array<unsigned short, 256>;

// What one byte in the register's low half turns into after its eight shifts.
constexpr Table MakeTable() {
  Table table{};
  for (unsigned int byte = 0; byte < table.size(); ++byte) {
    unsigned int value = byte;
    for (int bit = 0; bit < 8; ++bit) {
      value = (value & 1) != 0 ? (value >> 1) ^ ReflectedPolynomial : value >> 1;
    }
    table[byte] = static_cast<unsigned short>(value);
  }
  return table;
}

constexpr Table ByteTable = MakeTable();

}  // namespace

unsigned short ImageChecksum(std::span<const unsigned char> data) {
  unsigned int checksum = 0;
  for (const unsigned char byte : data) checksum = (checksum >> 8) ^ ByteTable[(checksum ^ byte) & 0xFF];
  return static_cast<unsigned short>(checksum ^ 0xFFFF);
}
