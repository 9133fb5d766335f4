// A chip of the model together with its memory, which is erased (0xFF) at first. For one thread at a time.
#pragma once

#include <algorithm>
#include <cstdint>
#include <span>
#include <stdexcept>
#include <string>
#include <vector>

#include "chip/chip_model.h"

class EmulatedChip final {
 public:
  explicit EmulatedChip(chip_kind kind = CHIP_CAT24C256, unsigned int slave = 0x56)
      : memory(chip_model_size(kind), 0xFF) {
    chip_model_init(&model, kind, memory.data(), slave);
  }
  EmulatedChip(const EmulatedChip&) = delete;
  EmulatedChip& operator=(const EmulatedChip&) = delete;

  [[nodiscard]] chip_model& Model() { return model; }
  [[nodiscard]] const chip_model& Model() const { return model; }
  [[nodiscard]] std::span<unsigned char> Memory() { return memory; }
  [[nodiscard]] std::span<const unsigned char> Memory() const { return memory; }

  [[nodiscard]] bool AnswersAt(unsigned int slave) const { return chip_model_answers_at(&model, slave) != 0; }

  // As chip_model_write and chip_model_read at the chip's own slave address or at `slave`; `now` in
  // nanoseconds.
  int Write(std::span<const unsigned char> data, std::uint64_t now) { return Write(model.slave, data, now); }
  int Write(unsigned int slave, std::span<const unsigned char> data, std::uint64_t now) {
    return chip_model_write(&model, slave, data.data(), static_cast<unsigned int>(data.size()), now);
  }
  int Read(std::span<unsigned char> data, std::uint64_t now) { return Read(model.slave, data, now); }
  int Read(unsigned int slave, std::span<unsigned char> data, std::uint64_t now) {
    return chip_model_read(&model, slave, data.data(), static_cast<unsigned int>(data.size()), now);
  }

  // Adds a fault that strikes `count` messages or page writes from number `first` on, for ever if `count` is
  // 0. Returns it, so that `met` can be read. Throws std::length_error if there are CHIP_FAULTS already.
  chip_fault& Add(chip_fault_kind kind, std::uint64_t first, std::uint64_t count = 1,
                  std::uint64_t parameter = 0) {
    auto* const free = std::find_if(std::begin(model.faults), std::end(model.faults),
                                    [](const chip_fault& fault) { return fault.kind == CHIP_FAULT_NONE; });
    if (free == std::end(model.faults)) throw std::length_error("too many faults");
    *free = {kind, first, count, parameter, 0};
    return *free;
  }

  // Adds a fault as `brindle-board --fault` takes it, KIND:FIRST[:COUNT[:PARAMETER]]. FIRST counts from now
  // on: 1 is the next message or page write. Throws std::invalid_argument for any other text.
  chip_fault& Add(const std::string& text) {
    chip_fault fault{};
    const char* const rest = chip_fault_parse(text.c_str(), &fault);
    if (!rest || *rest != '\0') throw std::invalid_argument(text);
    const std::uint64_t past = fault.kind < CHIP_FAULT_POWER_NOTHING ? model.messages : model.page_writes;
    return Add(fault.kind, past + fault.first, fault.count, fault.parameter);
  }

  void ClearFaults() { std::fill(std::begin(model.faults), std::end(model.faults), chip_fault{}); }

 private:
  std::vector<unsigned char> memory;
  chip_model model{};
};
