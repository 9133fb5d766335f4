// CAT24C256: 32 KiB in pages of 64 bytes, two address bytes in a message, at most 5 ms a write cycle (data
// sheet, t_WR).
//
// A write message is sent at most twice. A read goes in transfers of at most 16 bytes. The driver refuses no
// address: the low 16 bits are sent, of which the chip looks at 15.
#pragma once

#include "eeprom/I2CEeprom.h"

class Cat24c256Eeprom final : public I2CEeprom {
 public:
  static constexpr int Size = 32768;   // bytes
  static constexpr int PageSize = 64;  // bytes

  using I2CEeprom::I2CEeprom;

  int Read(unsigned short address, unsigned char* buffer, int length) override;
  int Write(unsigned short address, const unsigned char* data, int length) override;
  bool Erase(unsigned short address, unsigned short length) override;
  bool EraseAll() override;
  [[nodiscard]] unsigned long GetSizeInBytes() const override;

 private:
  static constexpr Protocol Chip = {.pageSize = PageSize,
                                    .addressSize = 2,
                                    .slaveMask = 0,
                                    .largestRead = 16,
                                    .writeAttempts = 2,
                                    .readsDirectly = false,
                                    .advancesByPiece = false};
};
