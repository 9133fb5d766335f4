#include "eeprom/Cat24c256Eeprom.h"

int Cat24c256Eeprom::Read(unsigned short address, unsigned char* buffer, int length) {
  return ReadInTransfers(Chip, address, buffer, length);
}

int Cat24c256Eeprom::Write(unsigned short address, const unsigned char* data, int length) {
  return WriteInPages(Chip, address, data, length);
}

bool Cat24c256Eeprom::Erase(unsigned short address, unsigned short length) {
  return WriteErased(address, length);
}

bool Cat24c256Eeprom::EraseAll() {
  return WriteErased(0, Size);
}

unsigned long Cat24c256Eeprom::GetSizeInBytes() const {
  return Size;
}
