// Finds the kernel's I2C adapters by the register address that the kernel writes into their names, for
// instance "STM32F7 I2C(0x0000000040150000)", and makes buses on their device nodes.
//
// The adapters are looked up once, when the factory is built; buses outlive it. An entry whose kind cannot be
// told, whose node is missing or whose name cannot be read is skipped, an error while going on through the
// directory ends the search, and the adapters found so far count: no failure is reported but an empty handle.
// One thread at a time.
#pragma once

#include <filesystem>
#include <memory>
#include <unordered_map>

#include "i2c/I2CBus.h"

class LinuxI2CFactory {
 public:
  LinuxI2CFactory();

  // The directory in which the kernel lists its adapters (kernel document ABI/testing/sysfs-bus-i2c-devices).
  static std::filesystem::path const& DevicesDirectory();

  // Adds the adapters found now. The first one found for an address stays.
  void LocateBuses();

  // A new bus, with a worker thread and a descriptor of its own, on the node of the controller whose
  // registers lie at `address`; empty when there is none.
  std::shared_ptr<I2CBus> GetBus(unsigned long address);

 private:
  void AddBus(std::filesystem::directory_entry const& entry);

  std::unordered_map<unsigned long, std::filesystem::path> buses;  // register address -> device node
};
