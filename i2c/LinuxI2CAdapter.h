// One of the kernel's I2C adapters: what the kernel tells of it apart from messages.
//
// Facts of the kernel: the i2c-dev node of adapter N is /dev/i2c-N, and sysfs has a device "N-00AA" for each
// slave address AA that a driver can hold (kernel documents i2c/dev-interface, i2c/i2c-sysfs). The at24
// driver gives its device a file "eeprom" with the chip's bytes. Any thread.
#pragma once

#include <cstddef>
#include <filesystem>
#include <optional>
#include <string>

class LinuxI2CAdapter final {
 public:
  // A driver of the kernel that holds a slave address.
  struct Driver {
    std::string name;              // "at24"
    std::string device;            // "1-0056"
    std::filesystem::path eeprom;  // its file with the chip's bytes; empty if it has none
  };

  enum class Service { PlainI2C, SMBusOnly, None };

  explicit LinuxI2CAdapter(unsigned int adapterNumber) : number(adapterNumber) {}

  // Returns the adapter whose node is at `path`, "/dev/i2c-N"; no value for any other path.
  [[nodiscard]] static std::optional<LinuxI2CAdapter> AtNode(const std::string& path);

  [[nodiscard]] std::string Node() const;

  // Returns the driver that holds the 7-bit address; no value when none does.
  [[nodiscard]] std::optional<Driver> DriverAt(unsigned short slave) const;

  // Returns what transfers the adapter offers (ioctl I2C_FUNCS). None is the answer when the node cannot be
  // opened, with the reason in errno, or is not that of an adapter, with ENOTTY.
  [[nodiscard]] Service Examine() const;

  // Returns whether the adapter takes messages of so many bytes, which its driver may refuse with EOPNOTSUPP.
  // It is asked with a message to address 0x03, at which no chip is (reserved by the I2C standard), so
  // that nothing is stored anywhere.
  [[nodiscard]] bool TakesMessage(std::size_t length) const;

 private:
  unsigned int number;
};
