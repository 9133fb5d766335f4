// The command line of brindle-board.
#pragma once

#include <cerrno>
#include <cstdint>
#include <map>
#include <set>
#include <string>
#include <vector>

#include "board/I2CAdapter.h"
#include "chip/chip_model.h"

struct BoardOptions {
  // Throws BoardError if the arguments are wrong. `command` points into `arguments`.
  static BoardOptions Parse(int count, char** arguments);

  const char* answer = nullptr;  // only this text is wanted, to print; nothing else is valid then
  std::string image;
  char** command = nullptr;  // ends with a null pointer, as execvp needs it

  chip_kind kind = CHIP_CAT24C256;
  unsigned int address = 0x56;
  std::string secondImage;             // empty: no second chip
  std::uint64_t writeCycle = 5000000;  // nanoseconds
  int refusal = -ENXIO;
  I2CAdapter::Limits limits;                        // of every adapter
  std::uint64_t clock = 0;                          // of the bus, in Hz; 0: messages take no time
  std::set<unsigned int> claimed;                   // slave addresses that a kernel driver holds
  std::map<unsigned int, std::size_t> driverPages;  // by slave address, in bytes; 0 or none: the chip's page
  std::vector<chip_fault> faults;                   // of the first chip, at most CHIP_FAULTS
  std::string trace;                                // empty: none
};
