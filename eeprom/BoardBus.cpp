#include "eeprom/BoardBus.h"

#include "eeprom/STM32MP2EepromBus.h"
#include "i2c/LinuxI2CFactory.h"
#include "platform/SignalHold.h"

namespace {

constexpr unsigned int ReservationTimeout = 30'000;  // ms

}  // namespace

std::shared_ptr<I2CBus> BoardBus::Get() {
  {
    const SignalWindow window;
    if (!reservation.Acquire(LinuxI2CFactory::DevicesDirectory(), ReservationTimeout)) return {};
  }
  return EepromBus::Get();
}
