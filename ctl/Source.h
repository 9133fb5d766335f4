// Where an EEPROM's content is read from: an image file, standard input ("-"), or the chip of the board
// ("board", or an empty name).
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "ctl/Command.h"
#include "eeprom/Eeprom.h"

// Returns the I2C address of the board's chip: 0x52 with the option "goldcrest", else 0x56.
[[nodiscard]] unsigned short ChipAddress(const Arguments& arguments);

// Returns the chip at `slave`, which holds a share of the bus. Throws Failure (19) when there is no bus or no
// chip.
[[nodiscard]] std::unique_ptr<Eeprom> OpenChip(std::shared_ptr<I2CBus> bus, unsigned short slave);

// Returns the chip of the board, at ChipAddress. The board is reserved for this process as long as the result
// is kept. Throws Failure (19) when there is none.
[[nodiscard]] std::unique_ptr<Eeprom> OpenBoard(const Arguments& arguments, const Environment& environment);

// Returns the whole content of the chip. Throws Failure (5) when it cannot be read.
[[nodiscard]] std::vector<unsigned char> ReadChip(Eeprom& chip);

// Returns `content`, a reading of the chip, when no disturbance of the bus can have spoiled its settings,
// table or files: page 0 reads the same again, and every checksum is right. Otherwise reads the chip until
// two readings agree. Throws Failure (5) when it cannot be read, or when four readings differ.
[[nodiscard]] std::vector<unsigned char> Confirmed(Eeprom& chip, std::vector<unsigned char> content);

// Returns the content of the file at `path`, or of standard input ("-"). A larger one is cut one byte after
// the EEPROM's size. Throws Failure (5) when it cannot be read.
[[nodiscard]] std::vector<unsigned char> ReadHostFile(const std::string& path,
                                                      const Environment& environment);

// Returns the content of a source. That of a file can have any size, and is cut as by ReadHostFile.
[[nodiscard]] std::vector<unsigned char> ReadSource(const std::string& source, const Arguments& arguments,
                                                    const Environment& environment);

// As ReadSource, but throws Failure (5) when the size is wrong.
[[nodiscard]] std::vector<unsigned char> ReadImage(const std::string& source, const Arguments& arguments,
                                                   const Environment& environment);
