#include "board/ImageFile.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/mman.h>
#include <sys/stat.h>

#include <cerrno>
#include <cstring>
#include <vector>

#include "board/BoardError.h"

ImageFile::ImageFile(const std::string& path, std::size_t bytes)
    : size(bytes), file(open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC | O_NONBLOCK, 0666)) {
  if (file.Get() < 0) throw BoardError(path + ": " + std::strerror(errno));
  struct stat status {};
  if (fstat(file.Get(), &status) != 0 || !S_ISREG(status.st_mode)) {
    throw BoardError(path + ": an image is a regular file");
  }
  if (flock(file.Get(), LOCK_EX | LOCK_NB) != 0) throw BoardError(path + ": used by another board");
  // Before it held the lock, another board could still fill the file.
  if (fstat(file.Get(), &status) != 0) throw BoardError(path + ": " + std::strerror(errno));
  if (status.st_size == 0) {
    Erase(path);
  } else if (status.st_size != static_cast<off_t>(size)) {
    throw BoardError(path + ": has " + std::to_string(status.st_size) + " bytes, the EEPROM " +
                     std::to_string(size));
  }
  void* const mapping = mmap(nullptr, size, PROT_READ | PROT_WRITE, MAP_SHARED, file.Get(), 0);
  if (mapping == MAP_FAILED) throw BoardError(path + ": " + std::strerror(errno));
  memory = static_cast<unsigned char*>(mapping);
}

ImageFile::~ImageFile() {
  munmap(memory, size);
}

void ImageFile::Erase(const std::string& path) const {
  const std::vector<unsigned char> erased(size, 0xFF);
  for (std::size_t done = 0; done < size;) {
    const ssize_t written = pwrite(file.Get(), erased.data() + done, size - done, static_cast<off_t>(done));
    if (written < 0) {
      const int error = errno;
      // An empty file can be filled by the next attempt. If this fails too, the first error tells why.
      [[maybe_unused]] const int result = ftruncate(file.Get(), 0);
      throw BoardError(path + ": cannot be filled: " + std::strerror(error));
    }
    done += static_cast<std::size_t>(written);
  }
}
