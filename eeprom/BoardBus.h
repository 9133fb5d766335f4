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
  static constexpr unsigned int Patience = 30'000;  // ms

  BoardBus() = delete;

  // Waits up to `timeout` milliseconds until no other process uses the board, and reserves it as long as the
  // pointer lives. Returns null when another one still uses it. A process that has reserved the board gets
  // the same reservation again. While it waits, signals that are otherwise held back take effect at once.
  // One thread at a time.
  //
  // The reservation is a lock on the directory in which the kernel lists its adapters. It is needed because a
  // continued read carries no address: a second process on the chip would shift the bytes of the first one
  // unseen.
  [[nodiscard]] static std::shared_ptr<DirectoryLock> Reserve(unsigned int timeout = Patience);

  // Reserves the board and returns its bus, which keeps the reservation until the bus is gone. Returns null
  // when another process uses the board, or there is no bus.
  [[nodiscard]] static std::shared_ptr<I2CBus> Get();
};
