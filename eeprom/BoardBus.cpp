#include "eeprom/BoardBus.h"

#include <utility>

#include "eeprom/STM32MP2EepromBus.h"
#include "i2c/LinuxI2CFactory.h"
#include "platform/SignalHold.h"

namespace {

// Members go in reverse order: the bus ends before the reservation.
struct ReservedBus {
  std::shared_ptr<DirectoryLock> reservation;
  std::shared_ptr<I2CBus> bus;
};

}  // namespace

std::shared_ptr<DirectoryLock> BoardBus::Reserve(unsigned int timeout) {
  static std::weak_ptr<DirectoryLock> current;
  if (auto held = current.lock()) return held;
  const SignalWindow window;
  auto reservation = std::make_shared<DirectoryLock>();
  if (!reservation->Acquire(LinuxI2CFactory::DevicesDirectory(), timeout)) return {};
  current = reservation;
  return reservation;
}

std::shared_ptr<I2CBus> BoardBus::Get() {
  auto reservation = Reserve();
  if (!reservation) return {};
  auto bus = EepromBus::Get();
  if (!bus) return {};
  I2CBus* const reserved = bus.get();
  return {std::make_shared<ReservedBus>(ReservedBus{std::move(reservation), std::move(bus)}), reserved};
}
