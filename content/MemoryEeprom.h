// A CAT24C256 that is an image in memory, for the file store to work on.
//
// Addresses wrap at the end of the memory, as they do in the chip. No operation fails.
#pragma once

#include <vector>

#include "content/Pages.h"
#include "eeprom/Eeprom.h"

class MemoryEeprom final : public Eeprom {
 public:
  // Borrows `image`, which must have the EEPROM's size, and `writtenPages`, if given, to which each write
  // adds the pages that it touches.
  explicit MemoryEeprom(std::vector<unsigned char>& image, PageSet* writtenPages = nullptr);

  int Read(unsigned short address, unsigned char* buffer, int length) override;
  int Write(unsigned short address, const unsigned char* data, int length) override;
  bool Erase(unsigned short address, unsigned short length) override;
  bool EraseAll() override;
  [[nodiscard]] unsigned long GetSizeInBytes() const override { return EepromSize; }

 private:
  std::vector<unsigned char>& memory;
  PageSet* written;
};
