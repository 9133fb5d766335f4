#include <iostream>

#include "cli/BoardBus.h"
#include "cli/FrontEnd.h"
#include "cli/ProcessSetup.h"

int main(int argc, char* argv[]) {
  PrepareProcess();
  BoardBus board;
  return FrontEnd(argc, argv, std::cout, [&board] { return board.Get(); });
}
