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

// Creates the files, in a private mount namespace, with an empty file for each node. On every bus a driver is
// bound to the slave addresses in `claimed`. Throws BoardError.
void Build(const std::set<unsigned int>& claimed);

// Returns whether a driver is bound to the slave address. If the name of this device is the last that was
// written to the driver's `unbind` file, unbinds it first.
[[nodiscard]] bool IsClaimed(unsigned int number, unsigned int address);

[[nodiscard]] std::string NodePath(unsigned int number);

}  // namespace BoardTree
