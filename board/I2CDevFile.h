// An open of an I2C device node, with the rules of the kernel's drivers/i2c/i2c-dev.c.
//
// Results are those of the system calls, with a negative errno for a failure. Each open has its own slave
// address and ten-bit flag. Borrows the adapter. One thread at a time.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <vector>

#include "board/CallerMemory.h"
#include "board/I2CAdapter.h"

class I2CDevFile final {
 public:
  explicit I2CDevFile(I2CAdapter& openedAdapter) : adapter(&openedAdapter) {}

  // The kernel limits reads and writes to as many bytes.
  static constexpr std::size_t MaxTransfer = 8192;

  // For at most MaxTransfer bytes. The count is short if a fault ends the message early.
  int Write(std::span<const unsigned char> data);
  int Read(std::span<unsigned char> data);

  // `argument` is what the caller passed; if that is a pointer, it points into `caller`.
  int Ioctl(unsigned int request, std::uint64_t argument, const CallerMemory& caller);

 private:
  [[nodiscard]] EmulatedBus::Message MessageOf(bool read, std::span<unsigned char> data) const;
  int SetAddress(std::uint64_t newAddress, bool force);
  int TransferMessages(std::uint64_t argument, const CallerMemory& caller);
  int TransferSmbus(std::uint64_t argument, const CallerMemory& caller);

  I2CAdapter* adapter;
  unsigned int address = 0;
  bool tenBit = false;
};
