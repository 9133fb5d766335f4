#include "i2c/STM32MPxI2CFactory.h"

#include "i2c/I2CBusHelper.h"

std::shared_ptr<I2CBus> STM32MPxI2CFactory::GetBus(I2C::Bus bus) {
  const auto address = I2C::GetBusAddress(bus);
  if (!address) return {};
  return GetBus(*address);
}
