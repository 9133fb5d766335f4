// One slave address on a shared bus, as a stream.
//
// A read or a write is one transfer and returns the low 32 bits of the count asked for, or 0 when it failed.
// Close does nothing: the stream stays connected. The handle holds a share of its bus. It has no lock, but
// the bus queues transfers, so several threads may use handles on one bus.
#pragma once

#include <memory>

#include "i2c/I2CBus.h"
#include "platform/Stream.h"

class I2CDevice final : public Stream {
 public:
  // `sharedBus` must not be empty.
  I2CDevice(std::shared_ptr<I2CBus> sharedBus, unsigned short slaveAddress,
            I2C::AddressMode mode = I2C::AddressMode::SevenBit);

  using Stream::Read;
  using Stream::Write;
  long Read(unsigned char* buffer, long count) override;
  long Write(const unsigned char* buffer, long count) override;
  void Close() override;

  // Writes, pauses for `delayMs` milliseconds where there is one, and reads, as two transfers.
  [[nodiscard]] virtual long WriteThenRead(const unsigned char* writeBuffer, unsigned long writeLength,
                                           unsigned char* readBuffer, unsigned long readLength);
  [[nodiscard]] virtual long WriteDelayRead(const unsigned char* writeBuffer, unsigned long writeLength,
                                            unsigned char* readBuffer, unsigned long readLength,
                                            unsigned int delayMs);

  // Marks the beginning, or the end, of transfers that belong together. Returns what the bus returns.
  bool Lock();
  bool Unlock();

  [[nodiscard]] unsigned short GetAddress() const;

  // Returns a handle on another slave address of the same bus, for a chip that answers at several.
  [[nodiscard]] I2CDevice Sibling(unsigned short slaveAddress) const;

 private:
  std::shared_ptr<I2CBus> bus;
  unsigned short address;
  I2C::AddressMode addressMode;
};
