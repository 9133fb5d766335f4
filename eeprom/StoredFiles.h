// The stored files of a table, whose images are read from the chip when they are first asked for, and kept.
//
// Borrows the device and the table, which must not change meanwhile. One thread at a time; a question blocks
// until the chip has answered.
#pragma once

#include <array>
#include <optional>

#include "eeprom/Eeprom.h"
#include "eeprom/FileAllocationTable.h"
#include "eeprom/StoredImage.h"

class StoredFiles final {
 public:
  using File = FileAllocationTable::File;

  StoredFiles(Eeprom& readDevice, const FileAllocationTable& currentTable);

  // Reads what the table describes as the file's image, intact or not: no bytes if it describes none.
  // Returns no value if the device delivers it short.
  [[nodiscard]] static std::optional<StoredImage> Read(Eeprom& device, const FileAllocationTable& table,
                                                       File file);

  // Returns whether the file's image is intact. A file counts as damaged, and may be overwritten, only after
  // two bad reads: the bus repeats a transfer that fails after the chip's address counter has moved, and then
  // delivers the bytes after the lost ones.
  [[nodiscard]] bool IsReadable(File file);

  // Returns the intact image of a readable file.
  [[nodiscard]] const StoredImage& Image(File file) const;

  // Returns whether the device has delivered all images in full. If not, the missing ones may be good files.
  [[nodiscard]] bool AllDelivered() const { return allDelivered; }

 private:
  Eeprom& device;
  const FileAllocationTable& table;
  std::array<std::optional<StoredImage>, FileAllocationTable::Files.size()> images;  // empty: not readable
  bool allDelivered = true;
};
