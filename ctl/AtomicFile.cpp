#include "ctl/AtomicFile.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>

#include "ctl/Failure.h"
#include "ctl/HostBytes.h"
#include "platform/SignalHold.h"

namespace {

// The file that a symbolic link leads to; the path itself when there is none yet.
std::string Resolved(const std::string& path) {
  char* const resolved = realpath(path.c_str(), nullptr);
  std::string result = resolved == nullptr ? path : resolved;
  std::free(resolved);
  return result;
}

mode_t NewFileMode() {
  const mode_t mask = umask(0);
  umask(mask);
  return 0666 & ~mask;
}

bool FlushFolder(const std::string& path) {
  const std::size_t slash = path.rfind('/');
  const std::string folder = slash == std::string::npos ? "." : path.substr(0, slash + 1);
  const int fd = open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  if (fd < 0) return false;
  const bool flushed = fsync(fd) == 0;
  close(fd);
  return flushed;
}

}  // namespace

void WriteAtomically(const std::string& path, std::span<const unsigned char> data) {
  const std::string target = Resolved(path);
  struct stat existing {};
  const bool exists = lstat(target.c_str(), &existing) == 0;  // a link only if it leads nowhere
  if (exists && !S_ISREG(existing.st_mode)) throw Failure(ExitCode::Failed, path + ": not a regular file");

  const SignalHold hold;
  std::string beside = target + TemporarySuffix + "XXXXXX";
  const int fd = mkostemp(beside.data(), O_CLOEXEC);
  if (fd < 0) FailAt(path);
  const mode_t mode = exists ? existing.st_mode & 07777 : NewFileMode();
  bool written = WriteFully(fd, data) && fchmod(fd, mode) == 0 && fsync(fd) == 0;
  written = close(fd) == 0 && written;
  if (!written || std::rename(beside.c_str(), target.c_str()) != 0) {
    const int error = errno;
    unlink(beside.c_str());
    errno = error;
    FailAt(path);
  }
  if (!FlushFolder(target)) FailAt(path);
}

void RemoveDurably(const std::string& path) {
  if (unlink(path.c_str()) != 0 || !FlushFolder(path)) FailAt(path);
}
