#include "ctl/HostBytes.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "ctl/Failure.h"

std::vector<unsigned char> ReadBytes(const std::string& path, std::size_t limit, int flags) {
  const int fd = open(path.c_str(), O_RDONLY | O_CLOEXEC | flags);
  if (fd < 0) FailAt(path);
  std::vector<unsigned char> content(limit);
  std::size_t length = 0;
  ssize_t count = 1;
  while (length < limit && count != 0) {
    count = read(fd, content.data() + length, limit - length);
    if (count < 0 && errno == EINTR) continue;
    if (count < 0) break;
    length += static_cast<std::size_t>(count);
  }
  const int error = errno;
  close(fd);
  errno = error;
  if (count < 0) FailAt(path);
  content.resize(length);
  return content;
}

void WriteBytes(const std::string& path, std::span<const unsigned char> data) {
  const int fd = open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0666);
  if (fd < 0) FailAt(path);
  const bool isWritten = WriteFully(fd, data);
  const int error = errno;
  const bool isClosed = close(fd) == 0;
  if (!isWritten) errno = error;
  if (!isWritten || !isClosed) FailAt(path);
}

bool WriteFully(int fd, std::span<const unsigned char> data) {
  while (!data.empty()) {
    const ssize_t count = write(fd, data.data(), data.size());
    if (count < 0 && errno != EINTR) return false;
    if (count > 0) data = data.subspan(static_cast<std::size_t>(count));
  }
  return true;
}

void FailAt(const std::string& path) {
  throw Failure(ExitCode::Failed, path + ": " + std::strerror(errno));
}
