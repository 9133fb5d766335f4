// The process that keeps the board from others.
#pragma once

#include <optional>
#include <string>

struct LockHolder {
  std::string process;  // its number
  std::string program;  // its name, as the kernel has it

  // Returns the process that took a lock (flock) on the directory; no value when there is none, when the
  // kernel does not tell, or when only a child that inherited the lock is left (proc_locks(5)).
  [[nodiscard]] static std::optional<LockHolder> Of(const std::string& directory);

  // Returns whether it is Brindle or brindlectl, which end by themselves.
  [[nodiscard]] bool IsOurs() const;
};
