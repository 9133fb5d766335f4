// CAT24C16: 2 KiB in pages of 16 bytes, one address byte in a message, at most 5 ms a write cycle (data
// sheet, t_WR).
//
// Bits 8 to 10 of a memory address travel in the low three bits of the slave address, so the chip answers at
// eight of them. The first 256 bytes are at the handle's own address, each further 256 at the next one,
// wrapping within the chip's eight; continued reads follow. A write that reaches beyond byte 2047 is refused
// whole; a refused piece is not sent again. A read goes in transfers of at most 2 bytes.
#pragma once

#include "eeprom/I2CEeprom.h"

class Cat24c16Eeprom final : public I2CEeprom {
 public:
  using I2CEeprom::I2CEeprom;

  int Read(unsigned short address, unsigned char* buffer, int length) override;
  int Write(unsigned short address, const unsigned char* data, int length) override;
  bool Erase(unsigned short address, unsigned short length) override;
  bool EraseAll() override;
  [[nodiscard]] unsigned long GetSizeInBytes() const override;

 private:
  static constexpr int Size = 2048;
  static constexpr Protocol Chip = {.pageSize = 16,
                                    .addressSize = 1,
                                    .slaveMask = 7,
                                    .largestRead = 2,
                                    .writeAttempts = 1,
                                    .readsDirectly = true,
                                    .advancesByPiece = true};
};
