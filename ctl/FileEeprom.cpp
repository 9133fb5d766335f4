#include "ctl/FileEeprom.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <vector>

#include "ctl/Accounts.h"
#include "ctl/Failure.h"
#include "ctl/HostBytes.h"

namespace {

// Says why a file may not be opened that exists.
[[noreturn]] void RefuseAccess(const std::string& path, const struct stat& status, bool isWritten) {
  constexpr mode_t AnyWrite = S_IWUSR | S_IWGRP | S_IWOTH;
  if (isWritten && path.starts_with("/sys/") && (status.st_mode & AnyWrite) == 0) {
    throw Failure(ExitCode::Failed, path + ": is read-only, by read-only or wp-gpios in the device tree");
  }
  const std::string owner = UserName(status.st_uid);
  throw Failure(ExitCode::NotAccessible, path + ": belongs to " + owner + ":" + GroupName(status.st_gid) +
                                             ", and you are " + UserName(geteuid()) + "; use \"sudo -u " +
                                             owner + " brindlectl ...\"");
}

}  // namespace

FileEeprom::FileEeprom(const std::string& filePath, bool isWritten)
    : fd(open(filePath.c_str(), (isWritten ? O_RDWR | O_DSYNC : O_RDONLY) | O_CLOEXEC | O_NONBLOCK)) {
  struct stat status {};
  if (fd < 0) {
    const int error = errno;
    if (error == EACCES && stat(filePath.c_str(), &status) == 0) RefuseAccess(filePath, status, isWritten);
    errno = error;
    FailAt(filePath);
  }
  if (fstat(fd, &status) == 0 && S_ISREG(status.st_mode) && status.st_size == EepromSize) return;
  close(fd);
  if (!S_ISREG(status.st_mode)) throw Failure(ExitCode::Failed, filePath + ": not a regular file");
  throw Failure(ExitCode::Failed, filePath + ": has " + std::to_string(status.st_size) +
                                      " bytes, and not the 32768 of a CAT24C256");
}

FileEeprom::~FileEeprom() {
  close(fd);
}

int FileEeprom::Read(unsigned short address, unsigned char* buffer, int length) {
  constexpr int LargestPiece = 128;  // of one message of the driver, unless its io_limit was changed
  int count = 0;
  while (count < length) {
    const auto piece = static_cast<std::size_t>(std::min(LargestPiece, length - count));
    const ssize_t got = pread(fd, buffer + count, piece, address + count);
    if (got <= 0) break;
    count += static_cast<int>(got);
  }
  return count;
}

int FileEeprom::Write(unsigned short address, const unsigned char* data, int length) {
  if (length <= 0) return 0;
  const ssize_t count = pwrite(fd, data, static_cast<std::size_t>(length), address);
  return static_cast<int>(std::max<ssize_t>(count, 0));
}

bool FileEeprom::Erase(unsigned short address, unsigned short length) {
  const std::vector<unsigned char> erased(length, ErasedByte);
  return Write(address, erased.data(), length) != 0;
}

bool FileEeprom::EraseAll() {
  const std::vector<unsigned char> erased(EepromSize, ErasedByte);
  return Write(0, erased.data(), static_cast<int>(EepromSize)) != 0;
}
