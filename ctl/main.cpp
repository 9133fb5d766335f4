#include <unistd.h>

#include <iostream>

#include "ctl/CommandLine.h"
#include "eeprom/BoardBus.h"
#include "platform/ProcessSetup.h"

namespace {

// The bus and its reservation, which ends after it.
struct ReservedBus {
  BoardBus reservation;
  std::shared_ptr<I2CBus> bus = reservation.Get();
};

std::shared_ptr<I2CBus> GetBus() {
  auto board = std::make_shared<ReservedBus>();
  I2CBus* const bus = board->bus.get();
  return bus == nullptr ? nullptr : std::shared_ptr<I2CBus>(std::move(board), bus);
}

}  // namespace

int main(int argc, char* argv[]) {
  PrepareProcess();
  std::ios::sync_with_stdio(false);  // standard input then tells an error from its end
  return RunCommandLine(argc, argv, {std::cin, std::cout, std::cerr, GetBus, isatty(STDERR_FILENO) != 0});
}
