// How a chip is named on the command line and in a journal.
#pragma once

#include <optional>
#include <string>

#include "ctl/Arguments.h"
#include "i2c/LinuxI2CAdapter.h"

// "board", "/dev/i2c-N", "/dev/i2c-N@ADDRESS", or the path of a file with the chip's bytes. The file "eeprom"
// of a kernel driver, /sys/.../N-00AA/eeprom, stands for /dev/i2c-N@0xAA, whether the driver is bound or not.
struct ChipName {
  // Returns what `text` names; the board's chip is the one at `boardSlave`. Throws Failure (22) for a node
  // that does not name an adapter, and for an address that is not one from 0x50 to 0x57.
  [[nodiscard]] static ChipName Parse(const std::string& text, unsigned short boardSlave);

  // Returns the 7-bit address of the board's chip: 0x52 with the option "goldcrest", else 0x56.
  [[nodiscard]] static unsigned short BoardSlave(const Arguments& arguments);

  // Returns the one that the options "chip" and "goldcrest" name. Throws Failure (22).
  [[nodiscard]] static ChipName Of(const Arguments& arguments);

  // Returns whether a source of this name is a chip, and not an image file.
  [[nodiscard]] static bool IsChip(const std::string& text);

  // Returns the adapter that leads to the chip; no value when there is none, or the chip is a file.
  [[nodiscard]] std::optional<LinuxI2CAdapter> Adapter() const;

  // Returns whether both lead to the same chip.
  [[nodiscard]] bool IsSameAs(const ChipName& other) const;

  // Returns the options that name the chip, for advice; empty for the board's chip at 0x56.
  [[nodiscard]] std::string Options() const;

  // Returns the name for messages, as the user gave it, and one that is right in every folder.
  [[nodiscard]] const std::string& Text() const { return text; }
  [[nodiscard]] const std::string& Lasting() const { return file.empty() ? text : file; }

  std::string text;
  std::string file;                     // path, if the chip is a file
  unsigned short slave = 0;             // 7-bit address, if it is none
  std::optional<LinuxI2CAdapter> node;  // if an adapter is named
};
