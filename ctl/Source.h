// Where an EEPROM's content is read from: an image file, standard input ("-"), or a chip.
#pragma once

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "content/CachedEeprom.h"
#include "content/EepromContent.h"
#include "ctl/Arguments.h"
#include "ctl/Chip.h"
#include "ctl/Environment.h"

// Returns the content of the file at `path`, or of standard input ("-"). A larger one is cut one byte after
// the EEPROM's size. Throws Failure (5) when it cannot be read.
[[nodiscard]] std::vector<unsigned char> ReadHostFile(const std::string& path,
                                                      const Environment& environment);

// Of a chip, the pages that are needed are read when they are first needed, and twice or more often where one
// reading does not settle them. Functions that read it throw std::runtime_error when that fails.
class Source final {
 public:
  // Opens the chip that `sourceName` names, which stays reserved as long as the object lives, or else reads
  // the file. Throws Failure as Chip does, and 5 for a file.
  Source(std::string sourceName, const Arguments& arguments, const Environment& environment);

  // Returns what it holds. An image may have any size.
  [[nodiscard]] EepromContent Examine();

  // Returns the whole content. A chip's is read once, but for the pages that have been confirmed. Throws
  // Failure (5) when an image has not the EEPROM's size.
  [[nodiscard]] const std::vector<unsigned char>& Content();

  // Makes sure of these pages of a chip.
  void Confirm(const PageSet& pages);

 private:
  std::string name;
  std::vector<unsigned char> image;
  std::unique_ptr<Chip> chip;
  std::optional<CachedEeprom> reading;
};
