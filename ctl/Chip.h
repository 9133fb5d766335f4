// The chip that a command works on.
#pragma once

#include <memory>
#include <optional>
#include <string>

#include "content/Pages.h"
#include "ctl/ChipName.h"
#include "ctl/Environment.h"
#include "eeprom/Eeprom.h"

// Reserves the board, for which it waits up to 30 seconds. Throws Failure (19), with the process that has it.
[[nodiscard]] std::shared_ptr<DirectoryLock> ReserveBoard(const Environment& environment);

// An open chip: on the adapter's node or, where a driver of the kernel holds its address, behind the driver's
// file. All boards and adapters of the system are reserved for this process as long as the object lives.
class Chip final {
 public:
  enum class Use { Read, Write };

  static constexpr std::size_t LongestMessage = PageSize + 2;  // a page's address and its bytes

  // Throws Failure: 19 when the chip does not answer, may not be used, or another process has the board; 5
  // when a file is read-only or has another size.
  Chip(ChipName chipName, Use use, const Environment& environment);

  [[nodiscard]] Eeprom& Memory() { return *memory; }
  [[nodiscard]] const ChipName& Name() const { return name; }

 private:
  void Open(Use use, const Environment& environment);
  void OpenThroughDriver(const LinuxI2CAdapter::Driver& driver, Use use);
  void CheckAdapter(Use use) const;

  ChipName name;
  std::shared_ptr<DirectoryLock> reservation;
  std::optional<LinuxI2CAdapter> adapter;  // no value for a file
  std::unique_ptr<Eeprom> memory;
};
