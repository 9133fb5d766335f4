#include "eeprom/Eeprom.h"

#include <algorithm>
#include <utility>

#include "i2c/DeviceLock.h"
#include "platform/ByteBuffer.h"
#include "platform/EventFactory.h"

namespace {

constexpr unsigned int WriteCycle = 5;  // ms
constexpr unsigned char ErasedByte = 0xFF;

}  // namespace

Eeprom::Eeprom(std::shared_ptr<I2CDevice> sharedDevice) : device(std::move(sharedDevice)) {}

int Eeprom::ReadInTransfers(unsigned short address, unsigned char* buffer, int length, int largest,
                            ReadTransfer const& transfer) {
  if (length <= 0) return 0;
  const DeviceLock lock(*device);
  int count = 0;
  bool spareAttempt = true;
  while (true) {
    const int size = std::min(largest, length - count);
    const unsigned int runningAddress = address + static_cast<unsigned int>(count);
    const int result = static_cast<int>(transfer(runningAddress, count > 0, buffer + count, size));
    count += std::max(result, 0);
    if (count == length) return count;
    if (result < size && !spareAttempt) return count;
    spareAttempt = false;
  }
}

bool Eeprom::WriteErased(unsigned short address, int length) {
  const auto size = static_cast<unsigned long>(length);
  ByteBuffer erased(size);
  erased.FillBuffer(ErasedByte, size);
  return Write(address, erased.GetBuffer(), length) != 0;
}

void Eeprom::PauseForWriteCycle() {
  EventFactory::GetUniqueSimpleEvent(true)->Wait(WriteCycle);
}
