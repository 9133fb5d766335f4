#include "i2c/I2CDevice.h"

#include <utility>

namespace {

// Returns the low 32 bits of a count, all that a bus takes.
template <typename Count>
unsigned int Narrow(Count count) {
  return static_cast<unsigned int>(count);
}

}  // namespace

I2CDevice::I2CDevice(std::shared_ptr<I2CBus> sharedBus, unsigned short slaveAddress, I2C::AddressMode mode)
    : bus(std::move(sharedBus)), address(slaveAddress), addressMode(mode) {}

long I2CDevice::Read(unsigned char* buffer, long count) {
  return bus->Read(buffer, Narrow(count), address, addressMode);
}

long I2CDevice::Write(const unsigned char* buffer, long count) {
  return bus->Write(buffer, Narrow(count), address, addressMode);
}

void I2CDevice::Close() {}

long I2CDevice::WriteThenRead(const unsigned char* writeBuffer, unsigned long writeLength,
                              unsigned char* readBuffer, unsigned long readLength) {
  return bus->WriteThenRead(writeBuffer, Narrow(writeLength), readBuffer, Narrow(readLength), address,
                            addressMode);
}

long I2CDevice::WriteDelayRead(const unsigned char* writeBuffer, unsigned long writeLength,
                               unsigned char* readBuffer, unsigned long readLength, unsigned int delayMs) {
  return bus->WriteDelayRead(writeBuffer, Narrow(writeLength), readBuffer, Narrow(readLength), address,
                             addressMode, delayMs);
}

bool I2CDevice::Lock() {
  return bus->Lock();
}

bool I2CDevice::Unlock() {
  return bus->Unlock();
}

unsigned short I2CDevice::GetAddress() const {
  return address;
}

I2CDevice I2CDevice::Sibling(unsigned short slaveAddress) const {
  return {bus, slaveAddress, addressMode};
}
