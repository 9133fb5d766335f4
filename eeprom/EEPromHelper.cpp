#include "eeprom/EEPromHelper.h"

namespace EEPromHelper {

namespace {

constexpr unsigned short BoardBytes = 4;

unsigned short FromLittleEndian(unsigned char low, unsigned char high) {
  return static_cast<unsigned short>(low | high << 8);
}

}  // namespace

unsigned short SlaveAddress(EEPromLocation location) {
  return location == EEPromLocation::GoldcrestBaseboard ? 0x52 : 0x56;
}

void ParseFileMetaData(const std::vector<unsigned char>& buffer, unsigned short& address,
                       unsigned short& size) {
  address = FromLittleEndian(buffer[0], buffer[1]);
  size = FromLittleEndian(buffer[2], buffer[3]);
}

std::vector<unsigned char> ConstructFileMetaDataBuffer(unsigned short address, const unsigned short& size) {
  return {static_cast<unsigned char>(address), static_cast<unsigned char>(address >> 8),
          static_cast<unsigned char>(size), static_cast<unsigned char>(size >> 8)};
}

bool IsAddressValid(unsigned short address) {
  return address >= BoardBytes && address < FreshEEPromValue;
}

bool IsSizeValid(unsigned short size) {
  return size >= 1 && size < FreshEEPromValue;
}

bool ValidByteSetAddress(unsigned short address) {
  return address < BoardBytes;
}

}  // namespace EEPromHelper
