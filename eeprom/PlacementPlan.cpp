#include "eeprom/PlacementPlan.h"

#include <algorithm>

std::optional<PlacementPlan> PlacementPlan::Make(const FileAllocationTable& table, File file,
                                                 unsigned long length, unsigned long deviceSize,
                                                 StoredFiles& files) {
  const PlacementPlan start(table, file, deviceSize, files);
  PlacementPlan plan = start;
  if (table.HasPlace(file)) {
    const auto [address, size] = table[file];
    if (size != length) plan.Relocate([&](File other) { return other > file; });
    Result result = plan.Try(address, length);
    if (result != Result::Fits && size != length) {
      plan = start;
      plan.Relocate([&](File other) { return other > file || table[other].Address > table[file].Address; });
      result = plan.Try(address, length);
    }
    if (result == Result::Fits) return plan;
    if (result == Result::HasNoRoom && !table.IsTorn(file)) return std::nullopt;
    plan = start;
  }
  plan.table[file] = FileAllocationTable::Erased;
  const auto appended = plan.AppendAddress(file, length);
  if (!appended || plan.Try(*appended, length) != Result::Fits) return std::nullopt;
  return plan;
}

std::optional<unsigned short> PlacementPlan::AppendAddress(File which, unsigned long length) const {
  unsigned long start = table.WithoutTornEntries().StartAddress(which);
  if (OverlapsAnother(which, start, length)) start = FileAllocationTable::Align(HighestEnd());
  if (!Fits(start, length) || OverlapsAnother(which, start, length)) return std::nullopt;
  return static_cast<unsigned short>(start);
}

void PlacementPlan::Place(File which, unsigned long start, unsigned long length) {
  table[which] = {static_cast<unsigned short>(start), static_cast<unsigned short>(length)};
}

PlacementPlan::PlacementPlan(const FileAllocationTable& currentTable, File newFile,
                             unsigned long sizeOfDevice, StoredFiles& storedFiles)
    : before(currentTable),
      table(currentTable),
      file(newFile),
      deviceSize(sizeOfDevice),
      files(&storedFiles) {}

// Erases the entries of the readable files that meet the condition.
template <typename Condition>
void PlacementPlan::Relocate(const Condition& condition) {
  for (const File other : FileAllocationTable::Files) {
    if (other == file || !condition(other) || !files->IsReadable(other)) continue;
    relocated.push_back(other);
    table[other] = FileAllocationTable::Erased;
  }
}

// Places the new image and checks that the relocated ones fit and the table may be written.
PlacementPlan::Result PlacementPlan::Try(unsigned long start, unsigned long length) {
  if (OverlapsAnother(file, start, length)) return Result::Overlaps;
  if (!Fits(start, length)) return Result::HasNoRoom;
  Place(file, start, length);
  PlacementPlan rest = *this;
  for (const File other : relocated) {
    const auto appended = rest.AppendAddress(other, before[other].Size);
    if (!appended) return Result::HasNoRoom;
    rest.Place(other, *appended, before[other].Size);
  }
  const bool writesOverAnImage =
      table != before &&
      OverlapsAnother(file, EEPromHelper::FileAllocationTableEntryOffset, FileAllocationTable::EncodedSize);
  return writesOverAnImage ? Result::HasNoRoom : Result::Fits;
}

// Returns whether an image may lie there at all: inside the file area and the device.
bool PlacementPlan::Fits(unsigned long start, unsigned long length) const {
  return start >= EEPromHelper::FilesInEEPromStartOffset && length < EEPromHelper::FreshEEPromValue &&
         start + length <= deviceSize;
}

// Returns whether these bytes, as far as they lie in the device, belong to another file that must stay.
bool PlacementPlan::OverlapsAnother(File which, unsigned long start, unsigned long length) const {
  if (start >= deviceSize) return false;
  const unsigned long inside = std::min(length, deviceSize - start);
  return std::ranges::any_of(FileAllocationTable::Files, [&](File other) {
    if (other == which || !table.DescribesFile(other)) return false;
    const auto [address, size] = table[other];
    return Overlap(start, inside, address, size, deviceSize) && MustStay(other);
  });
}

// The new image must stay once placed; before, callers exclude it as the file asked about.
bool PlacementPlan::MustStay(File which) const {
  return which == file || files->IsReadable(which);
}

unsigned long PlacementPlan::HighestEnd() const {
  unsigned long end = EEPromHelper::FilesInEEPromStartOffset;
  for (const File which : FileAllocationTable::Files) {
    if (!table.DescribesFile(which) || !MustStay(which)) continue;
    end = std::max(end, 0UL + table[which].Address + table[which].Size);
  }
  return end;
}
