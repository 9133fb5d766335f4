// The EEPROMs that the robustness tests start from, and data for files. Made by the model alone.
#pragma once

#include <string>
#include <vector>

#include "robustness/StoreModel.h"

namespace Boards {

struct Board {
  std::string name;
  Bytes memory;
};

// Data of this length, different for each seed.
Bytes Data(std::size_t length, unsigned int seed);

// An erased chip after these commands.
Bytes After(std::vector<Command> const& commands);

// Erased; one, two, three files; files out of order; a damaged file; a peripheral configuration file that
// start-up lists; one that it recognises and has no need to list; a full chip.
std::vector<Board> const& All();

}  // namespace Boards
