#include "platform/DirectoryLock.h"

#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <thread>

namespace {

constexpr std::chrono::milliseconds PollPause(10);

}  // namespace

DirectoryLock::~DirectoryLock() {
  if (fd >= 0) close(fd);
}

bool DirectoryLock::Acquire(const std::string& directory, unsigned int timeout) {
  fd = open(directory.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  if (fd < 0) return errno == ENOENT;
  const auto deadline = std::chrono::steady_clock::now() + std::chrono::milliseconds(timeout);
  while (flock(fd, LOCK_EX | LOCK_NB) != 0) {
    if (errno != EWOULDBLOCK && errno != EINTR) return false;
    if (std::chrono::steady_clock::now() >= deadline) return false;
    std::this_thread::sleep_for(PollPause);
  }
  return true;
}
