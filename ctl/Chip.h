// The chip that a command works on.
#pragma once

#include <memory>
#include <string>

#include "content/CachedEeprom.h"
#include "ctl/Arguments.h"
#include "ctl/Environment.h"
#include "eeprom/Eeprom.h"

// Returns the I2C address of the board's chip: 0x52 with the option "goldcrest", else 0x56.
[[nodiscard]] unsigned short ChipAddress(const Arguments& arguments);

// Reserves the board, for which it waits up to 30 seconds. Throws Failure (19), with the process that has it.
[[nodiscard]] std::shared_ptr<DirectoryLock> ReserveBoard(const Environment& environment);

// A chip of the board, which is reserved for this process as long as the object lives.
class Chip final {
 public:
  // Finds the chip at the 7-bit address `slave`. Throws Failure (19) when it does not answer or another
  // process has the board.
  Chip(unsigned short slave, const Environment& environment);

  [[nodiscard]] Eeprom& Memory() { return *memory; }
  [[nodiscard]] const std::string& Name() const { return name; }  // for messages: "board"

 private:
  std::string name;
  std::shared_ptr<DirectoryLock> reservation;
  std::unique_ptr<Eeprom> memory;
};
