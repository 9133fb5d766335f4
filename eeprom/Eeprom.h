// A byte-addressed memory of fixed size, as a rule a chip at one I2C device handle.
//
// Addresses and lengths are in bytes. Shares its I2CDevice. One thread at a time. A failed transfer shows in
// the result of an operation and nowhere else; the object stays usable after any failure.
#pragma once

#include <memory>
#include <utility>

#include "i2c/I2CDevice.h"

class Eeprom {
 public:
  // The chip, and with it the driver.
  enum class EepromType : unsigned int { Cat24c16 = 0, Cat24c256 = 1 };

  static constexpr unsigned char ErasedByte = 0xFF;

  explicit Eeprom(std::shared_ptr<I2CDevice> sharedDevice) : device(std::move(sharedDevice)) {}
  virtual ~Eeprom() = default;
  Eeprom(const Eeprom&) = delete;
  Eeprom& operator=(const Eeprom&) = delete;

  // Returns how many leading bytes of `buffer` are valid, 0 to `length`. Nothing is sent for a length of 0 or
  // less.
  virtual int Read(unsigned short address, unsigned char* buffer, int length) = 0;

  // Returns how many data bytes the chip acknowledged, 0 to `length`. A refused piece is skipped, so a short
  // count does not tell which bytes are missing. On return the chip has finished its write cycle.
  virtual int Write(unsigned short address, const unsigned char* data, int length) = 0;

  // These write ErasedByte, by Write. They return true when any byte was written: an erase with a refused
  // piece counts as done.
  virtual bool Erase(unsigned short address, unsigned short length) = 0;
  virtual bool EraseAll() = 0;

  // Returns the size of the memory.
  [[nodiscard]] virtual unsigned long GetSizeInBytes() const = 0;

 protected:
  // A memory that is not on a bus.
  Eeprom() = default;

  std::shared_ptr<I2CDevice> device;
};
