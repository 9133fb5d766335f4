// What the robustness tests counted. Each test leaves its figures in a file of its own in the folder
// robustness-figures, where they can be added up.
#pragma once

#include <string>

namespace Figures {

// Only every so many-th case is run: 1 but under a sanitizer or an emulated processor, where the loops are
// many times slower.
unsigned int Stride();

// Prints a line and keeps it: how many cases of which sort ("faults", "cuts", ...), and what they were.
void Print(std::string const& sort, unsigned long count, std::string const& text);

}  // namespace Figures
