// Decides, before a byte is written, where a file's new image goes and which other files are relocated.
//
// A file without a place is appended. One whose image keeps its size is written in place. One that changes
// its size keeps its address, and the readable files numbered after it are relocated: appended in the order
// of their numbers. Only where that does not fit, or would overwrite a readable file, the readable files with
// a lower number that lie above it are relocated too; and where even then a readable file is in the way, or
// the file's entry is torn and the image does not fit at its address, the new image is appended as if the
// file had no place.
//
// No plan overwrites an image that stays, nor, in writing the table, one that a foreign table laid over it.
// The chip's addresses wrap at the end of its memory, so an image that a foreign table puts beyond the end is
// taken to lie where the chip keeps it. Addresses and lengths are in bytes.
#pragma once

#include <optional>
#include <vector>

#include "eeprom/FileAllocationTable.h"
#include "eeprom/StoredFiles.h"

class PlacementPlan final {
 public:
  using File = FileAllocationTable::File;

  // Plans for an image of `length` bytes as `file`. Borrows `files`, and asks it which of the other files are
  // readable as far as that matters, which reads the chip. There is no plan when an image would exceed 0xFFFE
  // bytes, start below 0x0040, end beyond the device or, wherever it goes, overwrite a readable file.
  [[nodiscard]] static std::optional<PlacementPlan> Make(const FileAllocationTable& table, File file,
                                                         unsigned long length, unsigned long deviceSize,
                                                         StoredFiles& files);

  // The table with the new image entered and the entries of the relocated files erased, but for those that
  // have been placed since.
  [[nodiscard]] const FileAllocationTable& Table() const { return table; }

  // The files to be relocated, in the order of writing. Make has seen that all of them fit, but the plan does
  // not keep where: one that cannot be written drops out of the table, and each is placed by the table as it
  // then stands.
  [[nodiscard]] const std::vector<File>& Relocated() const { return relocated; }

  // Returns where an image of `length` bytes is appended for a file whose entry is erased: at the
  // StartAddress of the table without its torn entries, whose sizes only make the address wrap around. If it
  // would overwrite an image there, it goes after the image that ends highest. Returns no value if it does
  // not fit there.
  [[nodiscard]] std::optional<unsigned short> AppendAddress(File which, unsigned long length) const;

  // Enters an image, which is not overwritten from now on.
  void Place(File which, unsigned long start, unsigned long length);

 private:
  enum class Result { Fits, Overlaps, HasNoRoom };

  PlacementPlan(const FileAllocationTable& currentTable, File newFile, unsigned long sizeOfDevice,
                StoredFiles& storedFiles);

  template <typename Condition>
  void Relocate(const Condition& condition);
  Result Try(unsigned long start, unsigned long length);
  [[nodiscard]] bool Fits(unsigned long start, unsigned long length) const;
  [[nodiscard]] bool OverlapsAnother(File which, unsigned long start, unsigned long length) const;
  [[nodiscard]] bool MustStay(File which) const;
  [[nodiscard]] unsigned long HighestEnd() const;

  FileAllocationTable before;
  FileAllocationTable table;
  File file;
  unsigned long deviceSize;
  StoredFiles* files;
  std::vector<File> relocated;
};
