// A byte-addressed memory chip of fixed size behind one I2C device handle.
//
// Addresses and lengths are in bytes. Shares its I2CDevice. One thread at a time. No operation throws or
// reports more of a failed transfer than its result says; the object stays usable after any failure.
#pragma once

#include <functional>
#include <memory>

#include "i2c/I2CDevice.h"

class Eeprom {
 public:
  // The chip, and with it the driver.
  enum class EepromType : unsigned int { Cat24c16 = 0, Cat24c256 = 1 };

  explicit Eeprom(std::shared_ptr<I2CDevice> sharedDevice);
  virtual ~Eeprom() = default;
  Eeprom(Eeprom const&) = delete;
  Eeprom& operator=(Eeprom const&) = delete;

  // Returns how many leading bytes of `buffer` are valid, 0 to `length`. Nothing is sent for a length of 0 or
  // less.
  virtual int Read(unsigned short address, unsigned char* buffer, int length) = 0;

  // Returns how many data bytes the chip acknowledged, 0 to `length`. A refused piece is skipped, so a short
  // count does not tell which bytes are missing. On return the chip has finished its write cycle.
  virtual int Write(unsigned short address, unsigned char const* data, int length) = 0;

  // Write 0xFF. True when any byte was written: an erase with a refused piece counts as done.
  virtual bool Erase(unsigned short address, unsigned short length) = 0;
  virtual bool EraseAll() = 0;

  // The size of the memory.
  [[nodiscard]] virtual unsigned long GetSizeInBytes() const = 0;

 protected:
  // One transfer of `size` bytes into `destination`: addressed to `address`, or, when `continued`, from where
  // the chip's own address counter stands. Returns the bytes read.
  using ReadTransfer =
      std::function<long(unsigned int address, bool continued, unsigned char* destination, int size)>;

  // Reads in transfers of at most `largest` bytes. The first one may fall short once: it is repeated with its
  // address, or carried on if it brought something. Any later one that falls short ends the read.
  int ReadInTransfers(unsigned short address, unsigned char* buffer, int length, int largest,
                      ReadTransfer const& transfer);

  // Erases through the virtual Write.
  bool WriteErased(unsigned short address, int length);

  // Waits until the chip's write cycle is over: t_WR is 5 ms at most for both chips (data sheets).
  static void PauseForWriteCycle();

  std::shared_ptr<I2CDevice> device;
};
