// Changes to the content of an EEPROM, and the content that they lead to.
#pragma once

#include <array>
#include <optional>
#include <vector>

#include "content/Target.h"

struct Changes {
  std::array<std::optional<std::vector<unsigned char>>, 3>
      files;                      // new ones, by EEPromHandler::FilesInEEProm
  std::array<bool, 3> removed{};  // files to be removed, likewise
  std::optional<unsigned short> revision;
  std::optional<bool> developer;
};

// Returns what `base`, which has the EEPROM's size, becomes by the changes, and the pages that they write:
// files are removed, then Brindle stores the new ones by increasing type, then the settings. A removed file
// loses its entry in the table. Of its image nothing is written, unless Brindle's start would recognise file
// 1 in the reserved place without an entry; then as many of its first pages as that takes are erased.
//
// Throws std::runtime_error when there is no room for a file, or when a file, a new one or one of `base`,
// could not be read back from the result at Brindle's next start.
[[nodiscard]] Target Apply(const Changes& changes, std::vector<unsigned char> base);

// An erased image.
[[nodiscard]] std::vector<unsigned char> ErasedImage();
