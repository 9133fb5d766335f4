// All that is needed to finish an update that was cut off.
//
// Its coding, numbers little-endian, addresses and lengths in bytes:
//
//        0      8  "BRINDLEJ"
//        8      2  version of this format, 2
//       10      2  7-bit I2C address of the chip
//       12      2  length n of the next field
//       14      n  name of the chip, as the user gave it
//     14+n     64  the pages that the update writes, bit 0 of the first byte for page 0
//     78+n  32768  content of the chip before the update
//  32846+n  32768  target: content of the chip after the update
//  65614+n      4  CRC-32 (as in IEEE 802.3) of all bytes before
//
// Version 1 has neither the name nor the pages: it is of the board's chip and of all pages.
#pragma once

#include <optional>
#include <span>
#include <string>
#include <vector>

#include "content/Pages.h"

struct Journal {
  static constexpr std::size_t LargestSize = 65618 + 0xFFFF;  // bytes, encoded

  std::string chip = "board";
  unsigned short slave = 0;
  PageSet pages;
  std::vector<unsigned char> old;     // of the EEPROM's size; two readings, or the target, agree on `pages`
  std::vector<unsigned char> target;  // of the EEPROM's size

  // Returns whether these bytes may be a journal, or the beginning of one.
  [[nodiscard]] static bool Begins(std::span<const unsigned char> bytes);

  [[nodiscard]] std::vector<unsigned char> Encode() const;
  // Returns no value when the size, the version or the checksum is wrong.
  [[nodiscard]] static std::optional<Journal> Decode(std::span<const unsigned char> bytes);
};
