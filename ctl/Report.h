// How the commands show what an EEPROM holds: text for people, JSON for programs.
#pragma once

#include <ostream>
#include <string>

#include "content/EepromContent.h"
#include "ctl/Json.h"

// The settings as texts; an image of the right size has them.
[[nodiscard]] std::string RevisionText(const EepromContent& content);
[[nodiscard]] std::string DeveloperText(const EepromContent& content);

void PrintText(const EepromContent& content, std::ostream& output);

// The objects that the manual describes.
[[nodiscard]] Json ToJson(const EepromContent& content);
[[nodiscard]] Json ToJson(const std::vector<Finding>& findings);
