// What an EEPROM is to hold, and where.
#pragma once

#include <vector>

#include "content/Pages.h"

struct Target {
  std::vector<unsigned char> content;  // of the EEPROM's size
  PageSet pages;                       // may be written; all others stay as they are, whatever `content` has
};
