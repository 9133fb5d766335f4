#include "i2c/I2CBusHelper.h"

#include <map>

namespace {

const std::map<I2C::Bus, unsigned long> I2CBusMap = {
    {I2C::Bus::I2C1, 0x40120000}, {I2C::Bus::I2C2, 0x40130000}, {I2C::Bus::I2C3, 0x40140000},
    {I2C::Bus::I2C4, 0x40150000}, {I2C::Bus::I2C5, 0x40160000}, {I2C::Bus::I2C6, 0x40170000},
    {I2C::Bus::I2C7, 0x40180000},
};

}  // namespace

std::optional<unsigned long> I2C::GetBusAddress(Bus bus) {
  const auto entry = I2CBusMap.find(bus);
  if (entry == I2CBusMap.end()) return std::nullopt;
  return entry->second;
}
