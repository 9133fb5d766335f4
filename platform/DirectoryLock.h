// Lets one process at a time work on what a directory stands for, by an exclusive advisory lock (flock) on
// the directory itself. The lock goes with the object, and with the process however it ends.
#pragma once

#include <filesystem>

class DirectoryLock {
 public:
  DirectoryLock() = default;
  ~DirectoryLock();
  DirectoryLock(DirectoryLock const&) = delete;
  DirectoryLock& operator=(DirectoryLock const&) = delete;

  // Waits up to `timeout` milliseconds for the lock on `directory`. True when it is held, and when there is
  // no such directory, for then there is nothing to share. False on time-out or when the directory cannot be
  // opened or locked. To be called once.
  [[nodiscard]] bool Acquire(std::filesystem::path const& directory, unsigned int timeout);

 private:
  int fd = -1;
};
