// An I2C adapter as the kernel knows it: a number, the controller's bus, and the slave addresses that kernel
// drivers hold.
#ifndef BOARD_I2C_ADAPTER_H
#define BOARD_I2C_ADAPTER_H

#include <algorithm>
#include <span>
#include <utility>
#include <vector>

#include "board/EmulatedBus.h"

class I2CAdapter final {
 public:
  I2CAdapter(unsigned int busNumber, EmulatedBus ownBus, std::vector<unsigned int> claimedAddresses)
      : number(busNumber), bus(std::move(ownBus)), claimed(std::move(claimedAddresses)) {}

  [[nodiscard]] unsigned int Number() const { return number; }
  [[nodiscard]] EmulatedBus& Bus() { return bus; }

  [[nodiscard]] bool IsClaimed(unsigned long address) const {
    return std::find(claimed.begin(), claimed.end(), address) != claimed.end();
  }

  // One transfer of several messages, as i2c_transfer(): stops at the first that fails. Returns its negative
  // error, or how many messages were moved in full.
  int Transfer(std::span<EmulatedBus::Message const> messages) {
    int moved = 0;
    for (EmulatedBus::Message const& message : messages) {
      int const result = bus.Move(message);
      if (result < 0) return result;
      if (static_cast<std::size_t>(result) < message.data.size()) break;
      ++moved;
    }
    return moved;
  }

 private:
  unsigned int number;
  EmulatedBus bus;
  std::vector<unsigned int> claimed;
};

#endif
