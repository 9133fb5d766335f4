#include "board/ImageFile.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/mman.h>
#include <sys/stat.h>

#include <cerrno>
#include <cstring>
#include <vector>

#include "board/BoardError.h"

ImageFile::ImageFile(std::string const& path, std::size_t bytes)
    : size(bytes), file(open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC | O_NONBLOCK, 0666)) {
  if (file.Get() < 0) throw BoardError(path + ": " + std::strerror(errno));
  struct stat status {};
  if (fstat(file.Get(), &status) != 0 || !S_ISREG(status.st_mode))
    throw BoardError(path + ": an image is a regular file");
  if (flock(file.Get(), LOCK_EX | LOCK_NB) != 0) throw BoardError(path + ": used by another board");
  // Only now, with the lock held, can nobody else be about to fill it.
  if (fstat(file.Get(), &status) != 0) throw BoardError(path + ": " + std::strerror(errno));
  if (status.st_size == 0)
    Erase(path);
  else if (status.st_size != static_cast<off_t>(size))
    throw BoardError(path + ": has " + std::to_string(status.st_size) + " bytes, the EEPROM " +
                     std::to_string(size));
  void* const mapping = mmap(nullptr, size, PROT_READ | PROT_WRITE, MAP_SHARED, file.Get(), 0);
  if (mapping == MAP_FAILED) throw BoardError(path + ": " + std::strerror(errno));
  memory = static_cast<unsigned char*>(mapping);
}

ImageFile::~ImageFile() {
  munmap(memory, size);
}

void ImageFile::Erase(std::string const& path) const {
  std::vector<unsigned char> const erased(size, 0xFF);
  if (pwrite(file.Get(), erased.data(), size, 0) != static_cast<ssize_t>(size))
    throw BoardError(path + ": can't be filled: " + std::strerror(errno));
}
