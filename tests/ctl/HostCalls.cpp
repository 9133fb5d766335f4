#include "ctl/HostCalls.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>

#include "support/Wrap.h"

namespace {

bool NeverFails(const std::string& /*call*/) {
  return false;
}

bool Fails(const std::string& call) {
  if (!HostCalls::onCall(call)) return false;
  errno = EIO;
  return true;
}

}  // namespace

std::function<bool(const std::string& call)> HostCalls::onCall = NeverFails;

void HostCalls::Reset() {
  onCall = NeverFails;
}

WRAP(ssize_t, read, int fd, void* data, size_t size) {
  return Fails("read") ? -1 : __real_read(fd, data, size);
}

WRAP(int, mkostemp, char* path, int flags) {
  return Fails("create") ? -1 : __real_mkostemp(path, flags);
}

WRAP(ssize_t, write, int fd, const void* data, size_t size) {
  return Fails("write") ? -1 : __real_write(fd, data, size);
}

// A disk's delays are left out.
WRAP(int, fsync, int fd) {
  struct stat status {};
  fstat(fd, &status);
  return Fails(S_ISDIR(status.st_mode) ? "flush folder" : "flush file") ? -1 : 0;
}

WRAP(int, rename, const char* from, const char* to) {
  return Fails("rename") ? -1 : __real_rename(from, to);
}

WRAP(int, unlink, const char* path) {
  return Fails("unlink") ? -1 : __real_unlink(path);
}
