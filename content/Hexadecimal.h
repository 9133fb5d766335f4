// Numbers as hexadecimal text.
#pragma once

#include <string>

// Returns the number with at least `digits` digits: "0x0040" for an address, "0x56" for a byte (2 digits).
[[nodiscard]] std::string Hex(unsigned int value, int digits = 4);
