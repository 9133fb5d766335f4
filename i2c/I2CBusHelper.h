// Where the processor's I2C controllers are. Read-only; any thread.
#pragma once

#include <optional>

#include "i2c/I2C.h"

namespace I2C {

// Returns the base address of the controller's registers (STM32MP2 memory map), which the kernel puts into
// the name of its adapter. Returns no value for a number that is not a controller.
[[nodiscard]] std::optional<unsigned long> GetBusAddress(Bus bus);

}  // namespace I2C
