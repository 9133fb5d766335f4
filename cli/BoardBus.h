// The bus of the board EEPROM, for one process at a time.
#pragma once

#include <memory>

#include "i2c/I2CBus.h"
#include "platform/DirectoryLock.h"

class BoardBus {
 public:
  // Waits up to 30 seconds for other processes to be done with the board, and then finds the bus. Empty when
  // they were not done by then, or there is no bus. The board stays reserved as long as this object lives.
  // Signals that are held act while it waits.
  //
  // The reservation is a lock on the directory in which the kernel lists its adapters, since a continued read
  // carries no address: a second process on the chip would shift the bytes of the first one unseen.
  std::shared_ptr<I2CBus> Get();

 private:
  DirectoryLock reservation;
};
