// Where the processor's I2C controllers are. Read-only; any thread.
#pragma once

#include <optional>

#include "i2c/I2C.h"

namespace I2C {

// The base address of the controller's registers (STM32MP2 memory map), by which the kernel names its
// adapter; no value for a number that is no controller.
std::optional<unsigned long> GetBusAddress(Bus bus);

}  // namespace I2C
