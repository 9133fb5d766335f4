// Makes buses by the controllers' names.
#pragma once

#include "i2c/LinuxI2CFactory.h"

class STM32MPxI2CFactory final : public LinuxI2CFactory {
 public:
  using LinuxI2CFactory::GetBus;
  // Returns a new bus on `bus`; empty when there is no such controller or the system has no adapter for it.
  [[nodiscard]] std::shared_ptr<I2CBus> GetBus(I2C::Bus bus);
};
