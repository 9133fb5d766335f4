#include "eeprom/StoredImage.h"

#include <algorithm>
#include <utility>

#include "eeprom/EEPromHelper.h"
#include "eeprom/ImageChecksum.h"

StoredImage::StoredImage(std::vector<unsigned char> storedBytes) : bytes(std::move(storedBytes)) {}

StoredImage StoredImage::Of(std::span<const unsigned char> data) {
  const unsigned int checksum = ImageChecksum(data);
  StoredImage image;
  image.bytes.reserve(ChecksumSize + data.size());
  image.bytes.push_back(static_cast<unsigned char>(checksum & EEPromHelper::MaskMSB));
  image.bytes.push_back(static_cast<unsigned char>((checksum & EEPromHelper::MaskLSB) >> 8));
  image.bytes.insert(image.bytes.end(), data.begin(), data.end());
  return image;
}

bool StoredImage::IsIntact() const {
  return bytes.size() > ChecksumSize && StoredChecksum() == ComputedChecksum();
}

unsigned short StoredImage::StoredChecksum() const {
  return bytes.size() < ChecksumSize ? 0 : static_cast<unsigned short>(bytes[0] | bytes[1] << 8);
}

unsigned short StoredImage::ComputedChecksum() const {
  return ImageChecksum(Data());
}

std::span<const unsigned char> StoredImage::Data() const {
  return std::span(bytes).subspan(std::min(bytes.size(), ChecksumSize));
}
