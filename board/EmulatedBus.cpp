#include "board/EmulatedBus.h"

#include <algorithm>

#include "board/MonotonicClock.h"

namespace {

int MoveTo(chip_model& chip, const EmulatedBus::Message& message, std::uint64_t time) {
  const auto length = static_cast<unsigned int>(message.data.size());
  return message.read ? chip_model_read(&chip, message.address, message.data.data(), length, time)
                      : chip_model_write(&chip, message.address, message.data.data(), length, time);
}

}  // namespace

int EmulatedBus::Move(const Message& message) {
  const std::uint64_t start = MonotonicClock::Now();
  const std::uint64_t end = start + WireTime(message.data.size());
  chip_model* const chip = message.tenBit ? nullptr : ChipAt(message.address);
  // A chip acknowledges its address at the start of a message, but its write cycle begins at the end.
  const int result = chip ? MoveTo(*chip, message, start < chip->busy_until ? start : end) : refusal;
  MonotonicClock::SpinUntil(result < 0 ? start + WireTime(0) : end);

  const std::size_t shown =
      message.read ? static_cast<std::size_t>(std::max(result, 0)) : message.data.size();
  trace.Message(message.read, message.address, message.data.size(), message.data.first(shown), result);
  return result;
}

chip_model* EmulatedBus::ChipAt(unsigned int address) const {
  const auto found = std::find_if(chips.begin(), chips.end(), [&](const chip_model* chip) {
    return chip_model_answers_at(chip, address) != 0;
  });
  return found == chips.end() ? nullptr : *found;
}

// Returns nanoseconds: nine clocks for the address and each byte, one each for start and stop.
std::uint64_t EmulatedBus::WireTime(std::size_t bytes) const {
  return clock == 0 ? 0 : (9 * (bytes + 1) + 2) * 1000000000 / clock;
}
