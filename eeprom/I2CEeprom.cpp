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

// Returns how many bytes of the message the chip acknowledged in the last attempt, its address bytes
// included.
long Send(I2CDevice& device, const ByteBuffer& message, unsigned int attempts) {
  const auto length = static_cast<long>(message.GetWritePosition());
  long result = 0;
  for (unsigned int attempt = 0; attempt < attempts && result < length; ++attempt) {
    result = device.Write(message.GetBuffer(), length);
  }
  return std::max(result, 0L);
}

}  // namespace

int I2CEeprom::ReadInTransfers(const Protocol& protocol, unsigned short address, unsigned char* buffer,
                               int length) {
  if (length <= 0) return 0;
  const DeviceLock lock(*device);
  std::array<unsigned char, LargestTransfer> transferBuffer{};
  int count = 0;
  bool spareAttempt = true;
  while (true) {
    const int size = std::min(protocol.largestRead, length - count);
    const unsigned int runningAddress = address + static_cast<unsigned int>(count);
    const WireAddress wireAddress = HighByteFirst(runningAddress);
    const auto target = DeviceFor(protocol, runningAddress);
    unsigned char* const bytes = protocol.readsDirectly ? buffer + count : transferBuffer.data();
    const long result =
        count > 0 ? target->Read(bytes, size)
                  : target->WriteThenRead(wireAddress.end() - protocol.addressSize, protocol.addressSize,
                                          bytes, static_cast<unsigned long>(size));
    const auto moved = static_cast<int>(std::max(result, 0L));
    if (!protocol.readsDirectly) std::copy_n(bytes, moved, buffer + count);
    count += moved;
    if (count == length) return count;
    if (moved < size && !spareAttempt) return count;
    spareAttempt = false;
  }
}

int I2CEeprom::WriteInPages(const Protocol& protocol, unsigned short address, const unsigned char* data,
                            int length) {
  if (length <= 0) return 0;
  const auto size = static_cast<unsigned long>(length);
  ByteBuffer source(size);
  source.Write(data, size);
  ByteBuffer message(protocol.addressSize + protocol.pageSize);
  const DeviceLock lock(*device);
  unsigned int runningAddress = address;
  unsigned int written = 0;
  while (source.GetReadPosition() < size) {
    message.Reset();
    message.Write(HighByteFirst(runningAddress).end() - protocol.addressSize, protocol.addressSize);
    const unsigned long piece = source.Read(message, protocol.pageSize - runningAddress % protocol.pageSize);
    const auto sent = static_cast<unsigned int>(
        Send(*DeviceFor(protocol, runningAddress), message, protocol.writeAttempts));
    const unsigned int stored = sent > protocol.addressSize ? sent - protocol.addressSize : 0;
    const bool followsTheChip = stored > 0 && !protocol.advancesByPiece;
    runningAddress += followsTheChip ? stored : static_cast<unsigned int>(piece);
    written += stored;
    if (stored > 0) PauseForWriteCycle();
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
