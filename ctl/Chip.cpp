#include "ctl/Chip.h"

#include <cerrno>
#include <cstring>
#include <utility>

#include "content/Hexadecimal.h"
#include "ctl/Failure.h"
#include "ctl/FileEeprom.h"
#include "ctl/LockHolder.h"
#include "eeprom/EepromFinder.h"
#include "i2c/LinuxI2CFactory.h"
#include "i2c/LinuxI2CMasterBus.h"

namespace {

std::string DoctorLine(const ChipName& name) {
  const std::string options = name.Options();
  return "\"brindlectl doctor" + (options.empty() ? "" : " " + options) + "\" says why";
}

}  // namespace

std::shared_ptr<DirectoryLock> ReserveBoard(const Environment& environment) {
  if (auto reservation = environment.board.reserve(BoardBus::Patience)) return reservation;
  const auto holder = LockHolder::Of(LinuxI2CFactory::DevicesDirectory());
  const std::string who =
      holder ? "process " + holder->process + " (" + holder->program + ")" : std::string("another process");
  throw Failure(ExitCode::NotAccessible, "board: " + who + " holds it");
}

Chip::Chip(ChipName chipName, Use use, const Environment& environment)
    : name(std::move(chipName)), reservation(ReserveBoard(environment)), adapter(name.Adapter()) {
  Open(use, environment);
}

void Chip::Open(Use use, const Environment& environment) {
  const auto driver = adapter ? adapter->DriverAt(name.slave) : std::nullopt;
  if (driver) return OpenThroughDriver(*driver, use);
  if (!name.file.empty()) {
    memory = std::make_unique<FileEeprom>(name.file, use == Use::Write);
    return;
  }
  if (adapter) CheckAdapter(use);
  auto bus = name.node ? std::make_shared<LinuxI2CMasterBus>(adapter->Node()) : environment.board.findBus();
  memory = EepromFinder::FindEeprom(std::move(bus), name.slave, Eeprom::EepromType::Cat24c256);
  if (memory) return;
  throw Failure(ExitCode::NotAccessible, name.Text() + ": EEPROM not accessible at " + Hex(name.slave, 2) +
                                             " (" + DoctorLine(name) + ")");
}

void Chip::OpenThroughDriver(const LinuxI2CAdapter::Driver& driver, Use use) {
  if (driver.eeprom.empty()) {
    throw Failure(ExitCode::NotAccessible, name.Text() + ": the kernel's driver " + driver.name + " holds " +
                                               Hex(name.slave, 2) + " and has no file for it (" +
                                               DoctorLine(name) + ")");
  }
  memory = std::make_unique<FileEeprom>(driver.eeprom.string(), use == Use::Write);
  // A driver stays bound to a chip that does not answer any more, or not yet.
  unsigned char byte = 0;
  if (memory->Read(0, &byte, 1) == 1) return;
  throw Failure(ExitCode::NotAccessible, name.Text() + ": the EEPROM at " + Hex(name.slave, 2) +
                                             " does not answer the kernel's driver " + driver.name);
}

void Chip::CheckAdapter(Use use) const {
  const LinuxI2CAdapter::Service service = adapter->Examine();
  std::string reason;
  if (service == LinuxI2CAdapter::Service::None) {
    reason = errno == ENOTTY ? "not the node of an I2C adapter" : std::strerror(errno);
  } else if (service == LinuxI2CAdapter::Service::SMBusOnly) {
    reason = "the adapter has SMBus transfers only, and no plain I2C";
  } else if (use == Use::Write && !adapter->TakesMessage(LongestMessage)) {
    reason = "the adapter takes no message of 66 bytes, so no page can be written";
  } else {
    return;
  }
  const std::string place = name.node ? name.Text() : name.Text() + ": " + adapter->Node();
  throw Failure(ExitCode::NotAccessible, place + ": " + reason + " (" + DoctorLine(name) + ")");
}
