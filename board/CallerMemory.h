// The memory of the process whose call is being answered.
//
// Access is checked as for ptrace: it works for the board's descendants of the same user. Access fails once
// the caller was killed.
#pragma once

#include <sys/types.h>

#include <cstdint>
#include <span>
#include <type_traits>

class CallerMemory final {
 public:
  // `task` is a process or thread id.
  explicit CallerMemory(pid_t task) : caller(task) {}

  // Copies all bytes or returns false.
  [[nodiscard]] bool Read(std::uint64_t address, std::span<unsigned char> bytes) const;
  [[nodiscard]] bool Write(std::uint64_t address, std::span<const unsigned char> bytes) const;

  template <typename Plain>
  [[nodiscard]] bool ReadObject(std::uint64_t address, Plain& object) const {
    static_assert(std::is_trivially_copyable_v<Plain>);
    return Read(address, {reinterpret_cast<unsigned char*>(&object), sizeof object});
  }
  template <typename Plain>
  [[nodiscard]] bool WriteObject(std::uint64_t address, const Plain& object) const {
    static_assert(std::is_trivially_copyable_v<Plain>);
    return Write(address, {reinterpret_cast<const unsigned char*>(&object), sizeof object});
  }

 private:
  pid_t caller;
};
