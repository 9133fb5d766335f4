// An I2C bus that many devices share, by std::shared_ptr.
//
// Lengths are in bytes. Any thread may call, and each transfer blocks its caller until it has been performed.
// A transfer returns the length asked for (the read length for the reading kinds), or 0 when it failed; never
// a partial count, never a negative number. An empty transfer fails.
#pragma once

#include "i2c/I2C.h"

class I2CBus {
 public:
  I2CBus() = default;
  virtual ~I2CBus() = default;
  I2CBus(const I2CBus&) = delete;
  I2CBus& operator=(const I2CBus&) = delete;

  // Each bus defines the unit and the effect of its speed. It may ignore the speed and return 0.
  virtual void SetBusSpeed(unsigned int speed) = 0;
  [[nodiscard]] virtual unsigned int GetBusSpeed() const = 0;

  [[nodiscard]] virtual int Read(unsigned char* buffer, unsigned int length, unsigned short address,
                                 I2C::AddressMode mode) = 0;
  [[nodiscard]] virtual int Write(const unsigned char* buffer, unsigned int length, unsigned short address,
                                  I2C::AddressMode mode) = 0;
  [[nodiscard]] virtual int WriteThenRead(const unsigned char* writeBuffer, unsigned int writeLength,
                                          unsigned char* readBuffer, unsigned int readLength,
                                          unsigned short address, I2C::AddressMode mode) = 0;
  [[nodiscard]] virtual int WriteDelayRead(const unsigned char* writeBuffer, unsigned int writeLength,
                                           unsigned char* readBuffer, unsigned int readLength,
                                           unsigned short address, I2C::AddressMode mode,
                                           unsigned int delayMs) = 0;

  // Queues a record without waiting for it. Returns whether the bus accepted it; if not, its event is never
  // signalled.
  [[nodiscard]] virtual bool Transact(I2C::Transaction* transaction) = 0;

  // Marks the beginning, or the end, of transfers that belong together. Returns whether the bus reserved or
  // released itself; callers continue either way.
  virtual bool Lock() = 0;
  virtual bool Unlock() = 0;
};
