// How the commands show what an EEPROM holds: text for people, JSON for programs.
#pragma once

#include <ostream>
#include <string>

#include "ctl/EepromContent.h"
#include "ctl/Json.h"

// Four or more hexadecimal digits: "0x0040".
[[nodiscard]] std::string Hex(unsigned int value);

// The settings as texts; an image of the right size has them.
[[nodiscard]] std::string RevisionText(EepromContent const& content);
[[nodiscard]] std::string DeveloperText(EepromContent const& content);

void PrintText(EepromContent const& content, std::ostream& output);

// The objects that the manual describes.
[[nodiscard]] Json ToJson(EepromContent const& content);
[[nodiscard]] Json ToJson(std::vector<Problem> const& problems);
