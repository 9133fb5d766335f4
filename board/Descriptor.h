// Owns a file descriptor and closes it.
#pragma once

#include <unistd.h>

#include <utility>

class Descriptor final {
 public:
  Descriptor() = default;
  explicit Descriptor(int opened) : descriptor(opened) {}
  Descriptor(Descriptor&& other) noexcept : descriptor(std::exchange(other.descriptor, -1)) {}
  Descriptor& operator=(Descriptor&& other) noexcept {
    std::swap(descriptor, other.descriptor);
    return *this;
  }
  ~Descriptor() {
    if (descriptor >= 0) close(descriptor);
  }

  // -1 if there is none.
  [[nodiscard]] int Get() const { return descriptor; }

  // Passes the ownership to the caller.
  [[nodiscard]] int Release() { return std::exchange(descriptor, -1); }

 private:
  int descriptor = -1;
};
