#include <iostream>

#include "cli/FrontEnd.h"
#include "eeprom/BoardBus.h"
#include "platform/ProcessSetup.h"

int main(int argc, char* argv[]) {
  PrepareProcess();
  return FrontEnd(argc, argv, std::cout, BoardBus::Get);
}
