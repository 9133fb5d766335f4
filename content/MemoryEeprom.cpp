#include "content/MemoryEeprom.h"

#include <algorithm>

MemoryEeprom::MemoryEeprom(std::vector<unsigned char>& image, PageSet* writtenPages)
    : memory(image), written(writtenPages) {}

int MemoryEeprom::Read(unsigned short address, unsigned char* buffer, int length) {
  for (int i = 0; i < length; ++i) buffer[i] = memory[(address + static_cast<std::size_t>(i)) % EepromSize];
  return std::max(length, 0);
}

int MemoryEeprom::Write(unsigned short address, const unsigned char* data, int length) {
  if (length <= 0) return 0;
  for (int i = 0; i < length; ++i) memory[(address + static_cast<std::size_t>(i)) % EepromSize] = data[i];
  if (written != nullptr) *written |= PagesOf(address, static_cast<std::size_t>(length));
  return length;
}

bool MemoryEeprom::Erase(unsigned short address, unsigned short length) {
  const std::vector<unsigned char> erased(length, ErasedByte);
  return Write(address, erased.data(), length) != 0;
}

bool MemoryEeprom::EraseAll() {
  const std::vector<unsigned char> erased(EepromSize, ErasedByte);
  return Write(0, erased.data(), static_cast<int>(EepromSize)) != 0;
}
