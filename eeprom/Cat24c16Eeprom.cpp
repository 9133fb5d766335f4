#include "eeprom/Cat24c16Eeprom.h"

int Cat24c16Eeprom::Read(unsigned short address, unsigned char* buffer, int length) {
  return ReadInTransfers(Chip, address, buffer, length);
}

int Cat24c16Eeprom::Write(unsigned short address, const unsigned char* data, int length) {
  return length > Size - address ? 0 : WriteInPages(Chip, address, data, length);
}

bool Cat24c16Eeprom::Erase(unsigned short address, unsigned short length) {
  return WriteErased(address, length);
}

bool Cat24c16Eeprom::EraseAll() {
  return WriteErased(0, Size);
}

unsigned long Cat24c16Eeprom::GetSizeInBytes() const {
  return Size;
}
