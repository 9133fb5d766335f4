#include "eeprom/EepromFinder.h"

#include <utility>

#include "eeprom/Cat24c16Eeprom.h"
#include "eeprom/Cat24c256Eeprom.h"

namespace {

std::unique_ptr<Eeprom> MakeDriver(std::shared_ptr<I2CDevice> device, Eeprom::EepromType type) {
  switch (type) {
    case Eeprom::EepromType::Cat24c16:
      return std::make_unique<Cat24c16Eeprom>(std::move(device));
    case Eeprom::EepromType::Cat24c256:
      return std::make_unique<Cat24c256Eeprom>(std::move(device));
    default:
      return {};
  }
}

bool Answers(Eeprom& eeprom) {
  unsigned char byte = 0;
  return eeprom.Read(0, &byte, 1) == 1;
}

}  // namespace

std::unique_ptr<Eeprom> EepromFinder::FindEeprom(std::shared_ptr<I2CBus> bus, unsigned short address,
                                                 Eeprom::EepromType type) {
  if (!bus) return {};
  std::unique_ptr<Eeprom> eeprom = MakeDriver(std::make_shared<I2CDevice>(std::move(bus), address), type);
  if (!eeprom || !Answers(*eeprom)) return {};
  return eeprom;
}
