#include "ctl/MemoryEeprom.h"

MemoryEeprom::MemoryEeprom(std::vector<unsigned char>& image) : Eeprom(nullptr), memory(image) {}

int MemoryEeprom::Read(unsigned short address, unsigned char* buffer, int length) {
  for (int i = 0; i < length; ++i) buffer[i] = memory[(address + static_cast<unsigned int>(i)) % Size];
  return length;
}

int MemoryEeprom::Write(unsigned short address, const unsigned char* data, int length) {
  for (int i = 0; i < length; ++i) memory[(address + static_cast<unsigned int>(i)) % Size] = data[i];
  return length;
}
