// The file that holds a chip's memory.
//
// The memory is the mapped file: what the chip stores is in the file at once, even if this process is killed.
// The file is locked against other boards during the object's lifetime.
#pragma once

#include <cstddef>
#include <string>

#include "board/Descriptor.h"

class ImageFile final {
 public:
  // Opens a file of exactly `bytes` bytes; if it is missing or empty, it is filled with 0xFF. Throws
  // BoardError if it cannot be opened or filled, has another size, is no regular file or is used by another
  // board.
  ImageFile(const std::string& path, std::size_t bytes);
  ImageFile(const ImageFile&) = delete;
  ImageFile& operator=(const ImageFile&) = delete;
  ~ImageFile();

  // Valid during the object's lifetime.
  [[nodiscard]] unsigned char* Memory() const { return memory; }

 private:
  void Erase(const std::string& path) const;

  std::size_t size;
  Descriptor file;
  unsigned char* memory = nullptr;
};
