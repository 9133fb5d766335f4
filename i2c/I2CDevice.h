// One slave address on a shared bus, as a stream.
//
// Reads and writes are one transfer each and return the count asked for (its low 32 bits) or 0. Close changes
// nothing, the connected flag included. Holds a share of its bus. No lock of its own: the bus queues
// transfers, so handles on one bus may be used from several threads.
#pragma once

#include <memory>

#include "i2c/I2CBus.h"
#include "platform/Stream.h"

class I2CDevice : public Stream {
 public:
  // `sharedBus` must not be empty.
  I2CDevice(std::shared_ptr<I2CBus> sharedBus, unsigned short slaveAddress,
            I2C::AddressMode mode = I2C::AddressMode::SevenBit);

  using Stream::Read;
  using Stream::Write;
  long Read(unsigned char* buffer, long count) override;
  long Write(unsigned char const* buffer, long count) override;
  void Close() override;

  // A write and a read as two transfers, with a pause of `delayMs` milliseconds between them or without.
  virtual long WriteThenRead(unsigned char const* writeBuffer, unsigned long writeLength,
                             unsigned char* readBuffer, unsigned long readLength);
  virtual long WriteDelayRead(unsigned char const* writeBuffer, unsigned long writeLength,
                              unsigned char* readBuffer, unsigned long readLength, unsigned int delayMs);

  // Bracket transfers that belong together; the bus's answer.
  bool Lock();
  bool Unlock();

  unsigned short GetAddress() const;

  // A handle on another slave address of the same bus, for a chip that answers at several.
  I2CDevice Sibling(unsigned short slaveAddress) const;

 private:
  std::shared_ptr<I2CBus> bus;
  unsigned short address;
  I2C::AddressMode addressMode;
};
