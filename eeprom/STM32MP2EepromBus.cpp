#include "eeprom/STM32MP2EepromBus.h"

#include "i2c/STM32MPxI2CFactory.h"

std::shared_ptr<I2CBus> EepromBus::Get() {
  return STM32MPxI2CFactory().GetBus(I2C::Bus::I2C4);
}
