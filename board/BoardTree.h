// The files by which a program finds the board's I2C adapters: /sys/bus/i2c/devices, /sys/class/i2c-dev,
// /dev/i2c-N.
#pragma once

#include <array>
#include <set>
#include <string>

namespace BoardTree {

struct Adapter {
  unsigned int number;
  const char* parent;  // the device that it belongs to
  const char* name;
};

// The EEPROM is on the adapter of the controller at 0x40150000. Its number follows neither from the name I2C4
// nor from the order of the controllers, as on a board, where a number means nothing.
inline constexpr unsigned int EepromBus = 5;

// Named as a 64-bit kernel names them: the register address has 16 digits.
inline constexpr std::array<Adapter, 5> Adapters{{
    {0, "40120000.i2c", "STM32F7 I2C(0x0000000040120000)"},
    {1, "40130000.i2c", "STM32F7 I2C(0x0000000040130000)"},
    {2, "i2c-mux", "i2c-0-mux (chan_id 0)"},
    {3, "46040000.i2c", "STM32F7 I2C(0x0000000046040000)"},
    {EepromBus, "40150000.i2c", "STM32F7 I2C(0x0000000040150000)"},
}};

// Creates the files, in a private mount namespace, with an empty file for each node. Every bus has a device
// at each slave address in `claimed`. Throws BoardError.
void Build(const std::set<unsigned int>& claimed);

[[nodiscard]] std::string NodePath(unsigned int number);

// Returns the name in sysfs of the device at this slave address, and that of its driver.
[[nodiscard]] std::string DeviceName(unsigned int number, unsigned int address);
[[nodiscard]] std::string DriverName(unsigned int address);

// Creates an empty file at this place in the bus's folder of sysfs. Returns its path.
std::string AddFile(const std::string& folder, const std::string& name);

// Binds a driver to its device, which then has the link `driver` and, if there is a file `eeprom` in the
// folder eeproms/DEVICE, that file; or unbinds it. Returns 0, -EBUSY if it was bound or -ENODEV if it was
// not.
int SetBound(const std::string& driver, const std::string& device, bool bound);

// Returns whether a driver is bound to the slave address.
[[nodiscard]] bool IsClaimed(unsigned int number, unsigned int address);

}  // namespace BoardTree
