#include "content/Hexadecimal.h"

#include <cstdio>

std::string Hex(unsigned int value, int digits) {
  char text[16];
  std::snprintf(text, sizeof text, "0x%0*x", digits, value);
  return text;
}
