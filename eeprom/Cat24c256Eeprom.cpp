#include "eeprom/Cat24c256Eeprom.h"

#include <algorithm>
#include <array>
#include <utility>

#include "i2c/DeviceLock.h"

namespace {

constexpr int SizeInBytes = 32768;
constexpr unsigned int PageSize = 64;
constexpr unsigned int AddressBytes = 2;
constexpr int LargestRead = 16;

// Bits 15..8, then bits 7..0: the order in which the chip takes them.
std::array<unsigned char, AddressBytes> WireAddress(unsigned int address) {
  return {static_cast<unsigned char>(address >> 8), static_cast<unsigned char>(address)};
}

// Fills `message` with the next bytes of `source` up to the end of the page at `address`.
void NextPiece(unsigned int address, ByteBuffer& source, ByteBuffer& message) {
  message.Reset();
  message.Write(WireAddress(address).data(), AddressBytes);
  source.Read(message, PageSize - address % PageSize);
}

}  // namespace

Cat24c256Eeprom::Cat24c256Eeprom(std::shared_ptr<I2CDevice> sharedDevice) : Eeprom(std::move(sharedDevice)) {}

int Cat24c256Eeprom::Read(unsigned short address, unsigned char* buffer, int length) {
  return ReadInTransfers(address, buffer, length, LargestRead,
                         [this](unsigned int from, bool continued, unsigned char* destination, int size) {
                           return ReadTransfer(from, continued, destination, size);
                         });
}

// Through a buffer of its own: what a failed transfer may have left behind does not reach the caller.
long Cat24c256Eeprom::ReadTransfer(unsigned int address, bool continued, unsigned char* destination,
                                   int size) {
  std::array<unsigned char, LargestRead> bytes{};
  const long result = continued ? device->Read(bytes.data(), size)
                                : device->WriteThenRead(WireAddress(address).data(), AddressBytes,
                                                        bytes.data(), static_cast<unsigned long>(size));
  std::copy_n(bytes.begin(), std::max(result, 0L), destination);
  return result;
}

int Cat24c256Eeprom::Write(unsigned short address, unsigned char const* data, int length) {
  if (length <= 0) return 0;
  ByteBuffer source(static_cast<unsigned long>(length));
  source.Write(data, source.GetCapacity());
  ByteBuffer message(AddressBytes + PageSize);
  const DeviceLock lock(*device);
  unsigned int runningAddress = address;
  unsigned int written = 0;
  while (source.GetReadPosition() < source.GetWritePosition()) {
    NextPiece(runningAddress, source, message);
    const unsigned int stored = SendPiece(message);
    if (stored == 0) {
      runningAddress += static_cast<unsigned int>(message.GetWritePosition()) - AddressBytes;
      continue;
    }
    runningAddress += stored;
    written += stored;
    PauseForWriteCycle();
  }
  return static_cast<int>(written);
}

// Returns the data bytes that the chip acknowledged.
unsigned int Cat24c256Eeprom::SendPiece(ByteBuffer const& message) {
  const long length = static_cast<long>(message.GetWritePosition());
  long result = device->Write(message.GetBuffer(), length);
  if (result < length) result = device->Write(message.GetBuffer(), length);
  return result > AddressBytes ? static_cast<unsigned int>(result) - AddressBytes : 0;
}

bool Cat24c256Eeprom::Erase(unsigned short address, unsigned short length) {
  return WriteErased(address, length);
}

bool Cat24c256Eeprom::EraseAll() {
  return WriteErased(0, SizeInBytes);
}

unsigned long Cat24c256Eeprom::GetSizeInBytes() const {
  return SizeInBytes;
}
