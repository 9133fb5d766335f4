#include "eeprom/BoardBus.h"

#include <utility>

#include "eeprom/STM32MP2EepromBus.h"
#include "i2c/LinuxI2CFactory.h"
#include "platform/SignalHold.h"

namespace {

constexpr unsigned int ReservationTimeout = 30'000;  // ms

// Members go in reverse order: the bus ends before the reservation.
struct ReservedBus {
  std::shared_ptr<DirectoryLock> reservation;
  std::shared_ptr<I2CBus> bus;
};

}  // namespace

std::shared_ptr<DirectoryLock> BoardBus::Reserve() {
  const SignalWindow window;
  auto reservation = std::make_shared<DirectoryLock>();
  if (!reservation->Acquire(LinuxI2CFactory::DevicesDirectory(), ReservationTimeout)) return {};
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
