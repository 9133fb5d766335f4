#include "ctl/Chip.h"

#include "content/Hexadecimal.h"
#include "ctl/Failure.h"
#include "ctl/LockHolder.h"
#include "eeprom/EEPromHelper.h"
#include "eeprom/EepromFinder.h"
#include "i2c/LinuxI2CFactory.h"

namespace {

using EEPromHelper::EEPromLocation;

}  // namespace

unsigned short ChipAddress(const Arguments& arguments) {
  return EEPromHelper::SlaveAddress(arguments.Has("goldcrest") ? EEPromLocation::GoldcrestBaseboard
                                                               : EEPromLocation::BaseboardDefault);
}

std::shared_ptr<DirectoryLock> ReserveBoard(const Environment& environment) {
  if (auto reservation = environment.board.reserve(BoardBus::Patience)) return reservation;
  const auto holder = LockHolder::Of(LinuxI2CFactory::DevicesDirectory());
  const std::string who =
      holder ? "process " + holder->process + " (" + holder->program + ")" : std::string("another process");
  throw Failure(ExitCode::NotAccessible, "board: " + who + " holds it");
}

Chip::Chip(unsigned short slave, const Environment& environment)
    : name("board"), reservation(ReserveBoard(environment)) {
  memory = EepromFinder::FindEeprom(environment.board.findBus(), slave, Eeprom::EepromType::Cat24c256);
  if (memory) return;
  const bool isDefault = slave == EEPromHelper::SlaveAddress(EEPromLocation::BaseboardDefault);
  throw Failure(ExitCode::NotAccessible, "board: EEPROM not accessible at " + Hex(slave, 2) +
                                             " (\"brindlectl doctor" + (isDefault ? "" : " --goldcrest") +
                                             "\" says why)");
}
