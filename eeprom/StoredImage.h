// The stored image of a file: the checksum of the data, low byte first, and then the data.
//
// An image that was read from a chip can be anything, also shorter than its checksum. One thread at a time.
#pragma once

#include <cstddef>
#include <span>
#include <vector>

class StoredImage final {
 public:
  static constexpr std::size_t ChecksumSize = 2;

  // An image without bytes, which is not intact.
  StoredImage() = default;

  // An image as it was read from the chip.
  explicit StoredImage(std::vector<unsigned char> storedBytes);

  // Returns the image of `data`. It is intact unless there is no data.
  [[nodiscard]] static StoredImage Of(std::span<const unsigned char> data);

  // Returns whether the image is that of a file: it has data, and the checksum is right.
  [[nodiscard]] bool IsIntact() const;

  // The checksum in the image (0 if there are not two bytes of it) and the one that its data has.
  [[nodiscard]] unsigned short StoredChecksum() const;
  [[nodiscard]] unsigned short ComputedChecksum() const;

  // What follows the checksum, and the whole image; valid as long as the image.
  [[nodiscard]] std::span<const unsigned char> Data() const;
  [[nodiscard]] const std::vector<unsigned char>& Bytes() const { return bytes; }

 private:
  std::vector<unsigned char> bytes;
};
