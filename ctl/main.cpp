#include <fcntl.h>
#include <unistd.h>

#include <iostream>

#include "ctl/CommandLine.h"
#include "eeprom/BoardBus.h"
#include "eeprom/STM32MP2EepromBus.h"
#include "platform/ProcessSetup.h"

namespace {

// Makes a closed standard output one that takes nothing, so that results that are lost show as a failure.
void RefuseClosedOutput() {
  if (fcntl(STDOUT_FILENO, F_GETFD) != -1) return;
  const int unwritable = open("/dev/null", O_RDONLY);
  if (unwritable >= 0 && unwritable != STDOUT_FILENO) dup2(unwritable, STDOUT_FILENO);
}

}  // namespace

int main(int argc, char* argv[]) {
  RefuseClosedOutput();
  PrepareProcess();
  std::ios::sync_with_stdio(false);  // standard input then tells an error from its end
  const Board board = {BoardBus::Reserve, EepromBus::Get};
  return RunCommandLine(argc, argv, {std::cin, std::cout, std::cerr, board, isatty(STDERR_FILENO) != 0});
}
