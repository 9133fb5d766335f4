// Builds the driver of a chip and probes the chip. Keeps nothing between calls.
#pragma once

#include <memory>

#include "eeprom/Eeprom.h"
#include "i2c/I2CBus.h"

class EepromFinder final {
 public:
  EepromFinder() = delete;

  // Returns the driver for `type` at the 7-bit slave address `address`; it holds a share of the bus. Returns
  // null without a bus, for an unknown type, and when a one-byte read of address 0 fails.
  [[nodiscard]] static std::unique_ptr<Eeprom> FindEeprom(std::shared_ptr<I2CBus> bus, unsigned short address,
                                                          Eeprom::EepromType type);
};
