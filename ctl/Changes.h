// Changes to the content of an EEPROM, and the image that they lead to.
#pragma once

#include <array>
#include <optional>
#include <vector>

#include "ctl/Command.h"

struct Changes {
  std::array<std::optional<std::vector<unsigned char>>, 3> files;  // by EEPromHandler::FilesInEEProm
  std::optional<unsigned short> revision;
  std::optional<bool> developer;
};

// Returns the changes that the options "file" (TYPE=PATH), "revision" and "developer" ask for, with the host
// files read. Throws Failure: 22 for a bad value, 5 for a file that cannot be read.
[[nodiscard]] Changes ReadChanges(const Arguments& arguments, const Environment& environment);

// Returns the image that results when Brindle makes the changes to `base`, which has the EEPROM's size: files
// by increasing type, then the settings. Throws Failure (5) when there is no room for a file, or when a file,
// a new one or one of `base`, could not be read back from the result at Brindle's next start.
[[nodiscard]] std::vector<unsigned char> Apply(const Changes& changes, std::vector<unsigned char> base);

// An erased image.
[[nodiscard]] std::vector<unsigned char> ErasedImage();
