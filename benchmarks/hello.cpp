// The smallest ordinary C++ program: prints one line. Brindle cannot start or be compiled in less time.
#include <iostream>

int main() {
  std::cout << "EEPROM read/write complete." << std::endl;
  return 0;
}
