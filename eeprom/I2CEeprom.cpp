#include "eeprom/I2CEeprom.h"

#include <algorithm>
#include <array>

#include "i2c/DeviceLock.h"
#include "platform/ByteBuffer.h"
#include "platform/EventFactory.h"

namespace {

constexpr unsigned int WriteCycle = 5;  // ms
constexpr unsigned int LargestTransfer = 16;
constexpr unsigned int LargestAddress = 2;

using WireAddress = std::array<unsigned char, LargestAddress>;

// The address bytes end at the end of the array.
WireAddress HighByteFirst(unsigned int address) {
  return {static_cast<unsigned char>(address >> 8), static_cast<unsigned char>(address)};
}

void PauseForWriteCycle() {
  EventFactory::GetUniqueSimpleEvent(true)->Wait(WriteCycle);
}

// Returns how many bytes of the message the chip acknowledged in the last attempt.
long Send(I2CDevice& device, const ByteBuffer& message, unsigned int attempts) {
  const auto length = static_cast<long>(message.GetWritePosition());
  long result = 0;
  for (unsigned int attempt = 0; attempt < attempts && result < length; ++attempt) {
    result = device.Write(message.GetBuffer(), length);
  }
  return result;
}

}  // namespace

int I2CEeprom::ReadInTransfers(const Protocol& protocol, unsigned short address, unsigned char* buffer,
                               int length) {
  if (length <= 0) return 0;
  const DeviceLock lock(*device);
  int count = 0;
  bool spareAttempt = true;
  while (true) {
    const int size = std::min(protocol.largestRead, length - count);
    const unsigned int runningAddress = address + static_cast<unsigned int>(count);
    const WireAddress wireAddress = HighByteFirst(runningAddress);
    const auto target = DeviceFor(protocol, runningAddress);
    // The bytes of a failed transfer do not reach the caller.
    std::array<unsigned char, LargestTransfer> bytes{};
    const long result =
        count > 0 ? target->Read(bytes.data(), size)
                  : target->WriteThenRead(wireAddress.end() - protocol.addressSize, protocol.addressSize,
                                          bytes.data(), static_cast<unsigned long>(size));
    std::copy_n(bytes.begin(), std::max(result, 0L), buffer + count);
    count += static_cast<int>(std::max(result, 0L));
    if (count == length) return count;
    if (result < size && !spareAttempt) return count;
    spareAttempt = false;
  }
}

int I2CEeprom::WriteInPages(const Protocol& protocol, unsigned short address, const unsigned char* data,
                            int length) {
  if (length <= 0) return 0;
  ByteBuffer message(protocol.addressSize + protocol.pageSize);
  const DeviceLock lock(*device);
  const auto end = address + static_cast<unsigned int>(length);
  long written = 0;
  for (unsigned int from = address, piece = 0; from < end; from += piece) {
    piece = std::min(protocol.pageSize - from % protocol.pageSize, end - from);
    message.Reset();
    message.Write(HighByteFirst(from).end() - protocol.addressSize, protocol.addressSize);
    message.Write(data + (from - address), piece);
    const long result = Send(*DeviceFor(protocol, from), message, protocol.writeAttempts);
    if (result <= static_cast<long>(protocol.addressSize)) continue;
    PauseForWriteCycle();
    written += result - static_cast<long>(protocol.addressSize);
  }
  return static_cast<int>(written);
}

bool I2CEeprom::WriteErased(unsigned short address, unsigned long length) {
  ByteBuffer erased(length);
  erased.FillBuffer(ErasedByte, length);
  return Write(address, erased.GetBuffer(), static_cast<int>(length)) != 0;
}

std::shared_ptr<I2CDevice> I2CEeprom::DeviceFor(const Protocol& protocol, unsigned int address) const {
  const unsigned int own = device->GetAddress();
  const unsigned int above = address >> 8 * protocol.addressSize;
  const unsigned int selected = (own & ~protocol.slaveMask) | ((own + above) & protocol.slaveMask);
  if (selected == own) return device;
  // NOLINTNEXTLINE(modernize-make-shared): a handle can be neither copied nor moved.
  return std::shared_ptr<I2CDevice>(new I2CDevice(device->Sibling(static_cast<unsigned short>(selected))));
}
