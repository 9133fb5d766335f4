// An I2C bus with the chips on it.
//
// A message reaches the chip that answers at its slave address; no chip answers at a ten-bit one.
// Borrows the chips and the trace. One thread at a time.
#pragma once

#include <cstdint>
#include <span>
#include <vector>

#include "board/CallTrace.h"
#include "chip/chip_model.h"

class EmulatedBus final {
 public:
  struct Message {
    unsigned int address;
    bool tenBit;
    bool read;
    std::span<unsigned char> data;  // what to send, or where to put what is received
  };

  // `clockRate` is in Hz; 0 means that messages take no time. `refusalError` is the negative error of a
  // message that no chip acknowledges.
  EmulatedBus(std::uint64_t clockRate, int refusalError, CallTrace& callTrace)
      : clock(clockRate), refusal(refusalError), trace(callTrace) {}

  void Attach(chip_model& chip) { chips.push_back(&chip); }

  // Returns the chip that answers at this seven-bit slave address, or null.
  [[nodiscard]] chip_model* ChipAt(unsigned int address) const;

  // Transfers one message. Returns how many of its bytes were transferred, or a negative error.
  int Move(const Message& message);

 private:
  [[nodiscard]] std::uint64_t WireTime(std::size_t bytes) const;

  std::uint64_t clock;
  int refusal;
  CallTrace& trace;
  std::vector<chip_model*> chips;
};
