// A chip of the model together with its memory, which is erased (0xFF) at first. For one thread at a time.
#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <vector>

#include "chip/chip_model.h"

class EmulatedChip final {
 public:
  explicit EmulatedChip(chip_kind kind = CHIP_CAT24C256, unsigned int slave = 0x56);
  EmulatedChip(const EmulatedChip&) = delete;
  EmulatedChip& operator=(const EmulatedChip&) = delete;

  [[nodiscard]] chip_model& Model() { return model; }
  [[nodiscard]] const chip_model& Model() const { return model; }
  [[nodiscard]] std::span<unsigned char> Memory() { return memory; }
  [[nodiscard]] std::span<const unsigned char> Memory() const { return memory; }
  [[nodiscard]] bool AnswersAt(unsigned int slave) const;

  // As chip_model_write and chip_model_read; `now` in nanoseconds.
  int Write(unsigned int slave, std::span<const unsigned char> data, std::uint64_t now);
  int Read(unsigned int slave, std::span<unsigned char> data, std::uint64_t now);

  // Adds a fault that strikes `count` messages or page writes from number `first` on, for ever if `count` is
  // 0. Returns it, so that `met` can be read. Throws std::length_error if there are CHIP_FAULTS already.
  chip_fault& Add(chip_fault_kind kind, std::uint64_t first, std::uint64_t count = 1,
                  std::uint64_t parameter = 0);

  // Adds a fault as `brindle-board --fault` takes it, KIND:FIRST[:COUNT[:PARAMETER]]. FIRST counts from now
  // on: 1 is the next message or page write. Throws std::invalid_argument for any other text.
  chip_fault& Add(const std::string& text);

  void ClearFaults();

 private:
  std::vector<unsigned char> memory;
  chip_model model{};
};
