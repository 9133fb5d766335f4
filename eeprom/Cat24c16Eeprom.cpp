#include "eeprom/Cat24c16Eeprom.h"

#include <algorithm>
#include <utility>

#include "i2c/DeviceLock.h"
#include "platform/ByteBuffer.h"

namespace {

constexpr int SizeInBytes = 2048;
constexpr unsigned int PageSize = 16;
constexpr unsigned int AddressBytes = 1;
constexpr int LargestRead = 2;
constexpr unsigned int SlaveAddressBits = 7;  // the low bits of the slave address that select 256 bytes

}  // namespace

Cat24c16Eeprom::Cat24c16Eeprom(std::shared_ptr<I2CDevice> sharedDevice) : Eeprom(std::move(sharedDevice)) {}

I2CDevice Cat24c16Eeprom::DeviceFor(unsigned int address) const {
  const unsigned int own = device->GetAddress();
  const unsigned int selected = (own + (address >> 8)) & SlaveAddressBits;
  return device->Sibling(static_cast<unsigned short>((own & ~SlaveAddressBits) | selected));
}

int Cat24c16Eeprom::Read(unsigned short address, unsigned char* buffer, int length) {
  return ReadInTransfers(address, buffer, length, LargestRead,
                         [this](unsigned int from, bool continued, unsigned char* destination, int size) {
                           return ReadTransfer(from, continued, destination, size);
                         });
}

long Cat24c16Eeprom::ReadTransfer(unsigned int address, bool continued, unsigned char* destination,
                                  int size) {
  I2CDevice target = DeviceFor(address);
  if (continued) return target.Read(destination, size);
  const auto wireAddress = static_cast<unsigned char>(address);
  return target.WriteThenRead(&wireAddress, AddressBytes, destination, static_cast<unsigned long>(size));
}

int Cat24c16Eeprom::Write(unsigned short address, unsigned char const* data, int length) {
  if (length <= 0) return 0;
  if (address + static_cast<unsigned int>(length) > SizeInBytes) return 0;
  ByteBuffer source(static_cast<unsigned long>(length));
  source.Write(data, source.GetCapacity());
  ByteBuffer message(AddressBytes + PageSize);
  const DeviceLock lock(*device);
  unsigned int runningAddress = address;
  int written = 0;
  for (int left = length; left > 0;) {
    const int piece = std::min(static_cast<int>(PageSize - runningAddress % PageSize), left);
    const auto wireAddress = static_cast<unsigned char>(runningAddress);
    message.Reset();
    message.Write(&wireAddress, AddressBytes);
    source.Read(message, static_cast<unsigned long>(piece));
    const long result =
        DeviceFor(runningAddress).Write(message.GetBuffer(), static_cast<long>(message.GetWritePosition()));
    runningAddress += static_cast<unsigned int>(piece);
    left -= piece;
    if (result <= AddressBytes) continue;
    PauseForWriteCycle();
    written += static_cast<int>(result) - static_cast<int>(AddressBytes);
  }
  return written;
}

bool Cat24c16Eeprom::Erase(unsigned short address, unsigned short length) {
  return WriteErased(address, length);
}

bool Cat24c16Eeprom::EraseAll() {
  return WriteErased(0, SizeInBytes);
}

unsigned long Cat24c16Eeprom::GetSizeInBytes() const {
  return SizeInBytes;
}
