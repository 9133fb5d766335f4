// Lets one process at a time use what a directory represents, by an exclusive advisory lock (flock) on the
// directory itself. The lock is released when the object is destroyed or the process ends in any way.
#pragma once

#include <string>

class DirectoryLock final {
 public:
  DirectoryLock() = default;
  ~DirectoryLock();
  DirectoryLock(const DirectoryLock&) = delete;
  DirectoryLock& operator=(const DirectoryLock&) = delete;

  // Waits up to `timeout` milliseconds for the lock on `directory`. Returns true when it holds the lock, and
  // when there is no such directory, because then there is nothing to share. Returns false on time-out or
  // when the directory cannot be opened or locked. Call it once.
  [[nodiscard]] bool Acquire(const std::string& directory, unsigned int timeout);

 private:
  int fd = -1;
};
