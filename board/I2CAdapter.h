// An I2C adapter as the kernel knows it: a number, and the controller's bus. One thread at a time.
#pragma once

#include <linux/i2c.h>

#include <cstdint>
#include <span>
#include <utility>

#include "board/EmulatedBus.h"

class I2CAdapter final {
 public:
  // What the board's controllers offer, as far as it is emulated.
  static constexpr unsigned long Functions = I2C_FUNC_I2C | I2C_FUNC_10BIT_ADDR | I2C_FUNC_SMBUS_QUICK |
                                             I2C_FUNC_SMBUS_BYTE | I2C_FUNC_SMBUS_BYTE_DATA |
                                             I2C_FUNC_SMBUS_WORD_DATA | I2C_FUNC_SMBUS_I2C_BLOCK;

  I2CAdapter(unsigned int busNumber, EmulatedBus ownBus) : number(busNumber), bus(std::move(ownBus)) {}

  [[nodiscard]] unsigned int Number() const { return number; }
  [[nodiscard]] EmulatedBus& Bus() { return bus; }

  // Performs one transfer of several messages, as the kernel's i2c_transfer(): stops at the first that fails.
  // Returns its negative error, or how many messages were transferred in full.
  int Transfer(std::span<const EmulatedBus::Message> messages);

  // Performs an SMBus transaction of this size (I2C_SMBUS_QUICK and so on) with the same messages as the
  // kernel's i2c_smbus_xfer_emulated(). `data` is what to send, or where to put what is received. Returns 0
  // or a negative error.
  int TransferSmbus(unsigned int address, bool tenBit, bool read, unsigned char command, std::uint32_t size,
                    i2c_smbus_data& data);

 private:
  unsigned int number;
  EmulatedBus bus;
};
