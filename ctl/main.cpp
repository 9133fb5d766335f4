#include <unistd.h>

#include <iostream>

#include "ctl/CommandLine.h"
#include "eeprom/BoardBus.h"
#include "platform/ProcessSetup.h"

int main(int argc, char* argv[]) {
  PrepareProcess();
  std::ios::sync_with_stdio(false);  // standard input then tells an error from its end
  return RunCommandLine(argc, argv,
                        {std::cin, std::cout, std::cerr, BoardBus::Get, isatty(STDERR_FILENO) != 0});
}
