// A byte-addressed memory chip of fixed size at one I2C device handle.
//
// Addresses and lengths are in bytes. Shares its I2CDevice. One thread at a time. A failed transfer shows in
// the result of an operation and nowhere else; the object stays usable after any failure.
#pragma once

#include <memory>

#include "i2c/I2CDevice.h"

class Eeprom {
 public:
  // The chip, and with it the driver.
  enum class EepromType : unsigned int { Cat24c16 = 0, Cat24c256 = 1 };

  static constexpr unsigned char ErasedByte = 0xFF;

  explicit Eeprom(std::shared_ptr<I2CDevice> sharedDevice);
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
  virtual bool Erase(unsigned short address, unsigned short length);
  virtual bool EraseAll();

  // Returns the size of the memory.
  [[nodiscard]] virtual unsigned long GetSizeInBytes() const = 0;

 protected:
  // What the messages to a chip look like.
  struct Protocol {
    unsigned int pageSize;       // no write message crosses the end of a page
    unsigned int addressSize;    // address bytes in a message, 1 or 2, the high byte first
    unsigned int slaveMask;      // slave address bits that hold the memory address bits above those
    int largestRead;             // bytes in one transfer, at most 16
    unsigned int writeAttempts;  // of one message
  };

  // Reads in transfers: the first one is addressed, the chip's own address counter carries on the others, so
  // nobody else may use the chip in between. The first one may fall short once: it is repeated, or carried on
  // if it delivered bytes. Any later one that falls short ends the read.
  int ReadInTransfers(const Protocol& protocol, unsigned short address, unsigned char* buffer, int length);

  // Writes page by page and waits for the end of each write cycle: t_WR is 5 ms at most for both chips (data
  // sheets).
  int WriteInPages(const Protocol& protocol, unsigned short address, const unsigned char* data, int length);

  std::shared_ptr<I2CDevice> device;

 private:
  bool WriteErased(unsigned short address, unsigned long length);
  [[nodiscard]] std::shared_ptr<I2CDevice> DeviceFor(const Protocol& protocol, unsigned int address) const;
};
