// The clock of the emulated board, in nanoseconds.
#pragma once

#include <chrono>
#include <cstdint>

class MonotonicClock final {
 public:
  // CLOCK_MONOTONIC, on which programs wait too.
  [[nodiscard]] static std::uint64_t Now() {
    const auto now = std::chrono::steady_clock::now().time_since_epoch();
    return static_cast<std::uint64_t>(std::chrono::duration_cast<std::chrono::nanoseconds>(now).count());
  }

  // Spins, because a sleep is too coarse for messages of some 100 microseconds.
  static void SpinUntil(std::uint64_t time) {
    while (Now() < time) {
    }
  }
};
