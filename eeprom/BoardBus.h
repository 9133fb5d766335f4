// The bus of the board EEPROM, for one process at a time.
#pragma once

#include <functional>
#include <memory>

#include "i2c/I2CBus.h"
#include "platform/DirectoryLock.h"

// Returns the bus of the board EEPROM, empty when there is none.
using BusSource = std::function<std::shared_ptr<I2CBus>()>;

class BoardBus final {
 public:
  // Waits up to 30 seconds until no other process uses the board, and then finds the bus. The pointer is null
  // when another one still uses it, or there is no bus. The board stays reserved as long as this object
  // lives. While it waits, signals that are otherwise held back take effect at once.
  //
  // The reservation is a lock on the directory in which the kernel lists its adapters. It is needed because a
  // continued read carries no address: a second process on the chip would shift the bytes of the first one
  // unseen.
  std::shared_ptr<I2CBus> Get();

 private:
  DirectoryLock reservation;
};
