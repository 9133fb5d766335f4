// A CAT24C256 that is an image in memory, for the file store to work on.
//
// Addresses wrap at the end of the memory, as they do in the chip. No operation fails.
#pragma once

#include <vector>

#include "eeprom/Cat24c256Eeprom.h"
#include "eeprom/Eeprom.h"

class MemoryEeprom final : public Eeprom {
 public:
  static constexpr std::size_t Size = Cat24c256Eeprom::Size;

  // Borrows `image`, which must hold Size bytes.
  explicit MemoryEeprom(std::vector<unsigned char>& image);

  int Read(unsigned short address, unsigned char* buffer, int length) override;
  int Write(unsigned short address, const unsigned char* data, int length) override;
  bool Erase(unsigned short address, unsigned short length) override;
  bool EraseAll() override;
  [[nodiscard]] unsigned long GetSizeInBytes() const override { return Size; }

 private:
  std::vector<unsigned char>& memory;
};
