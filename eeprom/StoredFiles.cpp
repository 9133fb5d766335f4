#include "eeprom/StoredFiles.h"

#include <utility>
#include <vector>

StoredFiles::StoredFiles(Eeprom& readDevice, const FileAllocationTable& currentTable)
    : device(readDevice), table(currentTable) {}

std::optional<StoredImage> StoredFiles::Read(Eeprom& device, const FileAllocationTable& table, File file) {
  if (!table.DescribesFile(file)) return StoredImage();
  const auto [address, size] = table[file];
  std::vector<unsigned char> bytes(size);
  if (device.Read(address, bytes.data(), size) != size) return std::nullopt;
  return StoredImage(std::move(bytes));
}

bool StoredFiles::IsReadable(File file) {
  auto& kept = images[static_cast<std::size_t>(file)];
  if (!kept) {
    auto image = Read(device, table, file);
    if (image && !image->IsIntact()) image = Read(device, table, file);
    allDelivered = allDelivered && image;
    kept = image && image->IsIntact() ? std::move(*image) : StoredImage();
  }
  return !kept->Bytes().empty();
}

const StoredImage& StoredFiles::Image(File file) const {
  return images[static_cast<std::size_t>(file)].value();
}
