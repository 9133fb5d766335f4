// The smallest ordinary C++ program: prints one line. What a start of it takes, Brindle cannot do without.
#include <iostream>

int main() {
  std::cout << "EEPROM read/write complete." << std::endl;
  return 0;
}
