#include "ctl/MemoryEeprom.h"

#include <algorithm>

MemoryEeprom::MemoryEeprom(std::vector<unsigned char>& image) : memory(image) {}

int MemoryEeprom::Read(unsigned short address, unsigned char* buffer, int length) {
  for (int i = 0; i < length; ++i) buffer[i] = memory[(address + static_cast<unsigned int>(i)) % Size];
  return length;
}

int MemoryEeprom::Write(unsigned short address, const unsigned char* data, int length) {
  for (int i = 0; i < length; ++i) memory[(address + static_cast<unsigned int>(i)) % Size] = data[i];
  return length;
}

bool MemoryEeprom::Erase(unsigned short address, unsigned short length) {
  const std::vector<unsigned char> erased(length, ErasedByte);
  return Write(address, erased.data(), length) != 0;
}

bool MemoryEeprom::EraseAll() {
  std::fill(memory.begin(), memory.end(), ErasedByte);
  return true;
}
