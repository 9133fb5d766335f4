// An I2C adapter as the kernel knows it: a number, and the controller's bus. One thread at a time.
#pragma once

#include <linux/i2c.h>

#include <cstdint>
#include <span>
#include <utility>

#include "board/EmulatedBus.h"

class I2CAdapter final {
 public:
  // What an adapter lacks that the board's controllers have.
  struct Limits {
    bool smbusOnly = false;         // it performs SMBus transactions alone
    std::size_t maxWrite = 0xFFFF;  // most bytes of a message to send; the kernel calls it a quirk
  };

  I2CAdapter(unsigned int busNumber, EmulatedBus ownBus, const Limits& ownLimits)
      : number(busNumber), bus(std::move(ownBus)), limits(ownLimits) {}

  [[nodiscard]] unsigned int Number() const { return number; }
  [[nodiscard]] const EmulatedBus& Bus() const { return bus; }

  // Returns what it offers, as far as that is emulated: bits of I2C_FUNCS.
  [[nodiscard]] unsigned long Functions() const;

  // Performs one transfer of several messages, as the kernel's i2c_transfer(): stops at the first that fails.
  // Returns its negative error, or how many messages were transferred in full. Performs none and returns
  // -EOPNOTSUPP if one is beyond the limits.
  int Transfer(std::span<const EmulatedBus::Message> messages);

  // Performs a transfer of one message. Returns how many of its bytes were transferred, or a negative error.
  int Transfer(const EmulatedBus::Message& message);

  // Performs an SMBus transaction of this size (I2C_SMBUS_QUICK and so on) with the same messages as the
  // kernel's i2c_smbus_xfer_emulated(). `data` is what to send, or where to put what is received. Returns 0
  // or a negative error.
  int TransferSmbus(unsigned int address, bool tenBit, bool read, unsigned char command, std::uint32_t size,
                    i2c_smbus_data& data);

 private:
  [[nodiscard]] bool Refuses(const EmulatedBus::Message& message) const;
  int TransferWithinLimits(std::span<const EmulatedBus::Message> messages);

  unsigned int number;
  EmulatedBus bus;
  Limits limits;
};
