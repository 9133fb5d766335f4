// Finds the kernel's I2C adapters by the register address that the kernel writes into their names, for
// instance "STM32F7 I2C(0x0000000040150000)", and makes buses on their device nodes.
//
// The constructor looks the adapters up once. It skips an entry whose kind is unknown, whose node is missing
// or whose name cannot be read. An error in listing the directory ends the search, and the adapters found so
// far count. The only report of a failure is an empty handle. Buses outlive the factory. One thread at a
// time.
#pragma once

#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <unordered_map>

#include "i2c/I2CBus.h"

class LinuxI2CFactory {
 public:
  LinuxI2CFactory();

  // Returns the directory in which the kernel lists its adapters (ABI/testing/sysfs-bus-i2c-devices in the
  // kernel's documentation).
  static const std::filesystem::path& DevicesDirectory();

  // Returns the register address in an adapter's name; no value when there is none.
  static std::optional<unsigned long> AddressIn(const std::string& name);

  // Looks for adapters again and adds those with a new address. The first one found for an address stays.
  void LocateBuses();

  // Returns a new bus, with its own worker thread and descriptor, on the node of the controller whose
  // registers are at `address`; empty when there is none.
  std::shared_ptr<I2CBus> GetBus(unsigned long address);

 private:
  void AddBus(const std::filesystem::directory_entry& entry);

  std::unordered_map<unsigned long, std::filesystem::path> buses;  // register address -> device node
};
