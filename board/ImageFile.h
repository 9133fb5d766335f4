// The file that holds a chip's memory.
//
// The memory is the file itself, mapped: what the chip stores is in the file at once, also when this process
// is killed. The file stays locked against other boards as long as the object lives.
#pragma once

#include <cstddef>
#include <string>

#include "board/Descriptor.h"

class ImageFile final {
 public:
  // Opens the file of exactly `bytes` bytes; a missing or an empty one is made, erased (0xFF). Throws
  // BoardError when it can't be opened, has another size, is no regular file or is used by another board.
  ImageFile(std::string const& path, std::size_t bytes);
  ImageFile(ImageFile const&) = delete;
  ImageFile& operator=(ImageFile const&) = delete;
  ~ImageFile();

  // Valid as long as the object.
  [[nodiscard]] unsigned char* Memory() const { return memory; }

 private:
  void Erase(std::string const& path) const;

  std::size_t size;
  Descriptor file;
  unsigned char* memory = nullptr;
};
