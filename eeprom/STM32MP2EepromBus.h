// The I2C bus on which the board carries its EEPROM.
#pragma once

#include <memory>

#include "i2c/I2CBus.h"

class EepromBus final {
 public:
  EepromBus() = delete;

  // Returns a new bus on controller I2C4 of the STM32MP2, which each call looks for, or null when the
  // system has no such adapter.
  [[nodiscard]] static std::shared_ptr<I2CBus> Get();
};
