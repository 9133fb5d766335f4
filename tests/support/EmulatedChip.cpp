#include "support/EmulatedChip.h"

#include <algorithm>
#include <stdexcept>

EmulatedChip::EmulatedChip(chip_kind kind, unsigned int slave) : memory(chip_model_size(kind), 0xFF) {
  chip_model_init(&model, kind, memory.data(), slave);
}

bool EmulatedChip::AnswersAt(unsigned int slave) const {
  return chip_model_answers_at(&model, slave) != 0;
}

int EmulatedChip::Write(unsigned int slave, std::span<const unsigned char> data, std::uint64_t now) {
  const auto length = static_cast<unsigned int>(data.size());
  return chip_model_write(&model, slave, data.data(), length, now);
}

int EmulatedChip::Read(unsigned int slave, std::span<unsigned char> data, std::uint64_t now) {
  const auto length = static_cast<unsigned int>(data.size());
  return chip_model_read(&model, slave, data.data(), length, now);
}

chip_fault& EmulatedChip::Add(chip_fault_kind kind, std::uint64_t first, std::uint64_t count,
                              std::uint64_t parameter) {
  for (chip_fault& fault : model.faults) {
    if (fault.kind != CHIP_FAULT_NONE) continue;
    fault = {.kind = kind, .first = first, .count = count, .parameter = parameter, .met = 0};
    return fault;
  }
  throw std::length_error("too many faults");
}

chip_fault& EmulatedChip::Add(const std::string& text) {
  chip_fault fault{};
  const char* const rest = chip_fault_parse(text.c_str(), &fault);
  if (rest == nullptr || *rest != '\0') throw std::invalid_argument(text);
  const bool countsMessages = fault.kind < CHIP_FAULT_POWER_NOTHING;
  const std::uint64_t past = countsMessages ? model.messages : model.page_writes;
  return Add(fault.kind, past + fault.first, fault.count, fault.parameter);
}

void EmulatedChip::ClearFaults() {
  std::ranges::fill(model.faults, chip_fault{});
}
