#include "eeprom/FileLayout.h"

#include <algorithm>
#include <cstddef>
#include <utility>

namespace {

using File = EEPromHandler::FilesInEEProm;

std::size_t Index(File file) {
  return static_cast<std::size_t>(file);
}

}  // namespace

FileLayout::FileLayout(FileAllocationTable const& startTable, unsigned long sizeOfDevice,
                       IsReadable readablePredicate)
    : table(startTable), deviceSize(sizeOfDevice), isReadable(std::move(readablePredicate)), states() {}

void FileLayout::Lift(File file) {
  table[file] = FileAllocationTable::Erased;
  states[Index(file)] = State::Lifted;
}

void FileLayout::Place(File file, unsigned long start, unsigned long length) {
  table[file] = {static_cast<unsigned short>(start), static_cast<unsigned short>(length)};
  states[Index(file)] = State::Placed;
}

std::optional<unsigned short> FileLayout::StartFor(File file, unsigned long length) const {
  unsigned long start = table.StartAddress(file);
  if (!Fits(start, length)) start = table.WithoutTornEntries().StartAddress(file);
  if (RunsIntoAnother(file, start, length)) start = FileAllocationTable::Align(HighestEnd());
  if (!Fits(start, length) || RunsIntoAnother(file, start, length)) return std::nullopt;
  return static_cast<unsigned short>(start);
}

bool FileLayout::Fits(unsigned long start, unsigned long length) const {
  return start >= EEPromHelper::FilesInEEPromStartOffset && length < EEPromHelper::FreshEEPromValue &&
         start + length <= deviceSize;
}

bool FileLayout::RunsIntoAnother(File file, unsigned long start, unsigned long length) const {
  if (start >= deviceSize) return false;
  const unsigned long inside = std::min(length, deviceSize - start);
  return std::any_of(FileAllocationTable::Files.begin(), FileAllocationTable::Files.end(), [&](File other) {
    if (other == file || !table.DescribesFile(other)) return false;
    const auto& [address, size] = table[other];
    return Overlap(start, inside, address, size, deviceSize) && IsToBeKept(other);
  });
}

bool FileLayout::IsToBeKept(File file) const {
  const State state = states[Index(file)];
  return state == State::Placed || (state == State::Standing && isReadable(file));
}

unsigned long FileLayout::HighestEnd() const {
  unsigned long end = EEPromHelper::FilesInEEPromStartOffset;
  for (const File file : FileAllocationTable::Files) {
    const auto& [address, size] = table[file];
    if (table.DescribesFile(file) && IsToBeKept(file)) end = std::max(end, 0UL + address + size);
  }
  return end;
}
