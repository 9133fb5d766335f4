#include "eeprom/FileLayout.h"

#include <algorithm>
#include <cstddef>
#include <utility>

namespace {

using File = EEPromHandler::FilesInEEProm;

constexpr std::array AllFiles = {File::PeripheralConfig, File::UpgradeFile, File::BoardConfig};
constexpr unsigned long Alignment = 64;

std::size_t Index(File file) {
  return static_cast<std::size_t>(file);
}

unsigned long RoundedUp(unsigned long address) {
  return (address + Alignment - 1) / Alignment * Alignment;
}

bool DescribesImage(FileAllocationTableEntry const& entry) {
  return EEPromHelper::IsAddressValid(entry.Address) && EEPromHelper::IsSizeValid(entry.Size);
}

FileAllocationTable WithoutTornEntries(FileAllocationTable table) {
  constexpr FileAllocationTableEntry Erased = {EEPromHelper::FreshEEPromValue,
                                               EEPromHelper::FreshEEPromValue};
  std::replace_if(table.begin(), table.end(), IsHalfWritten, Erased);
  return table;
}

// Whether two stretches meet in a memory of `size` bytes whose addresses go round.
bool Meet(unsigned long start1, unsigned long length1, unsigned long start2, unsigned long length2,
          unsigned long size) {
  const unsigned long from1To2 = (start2 % size + size - start1 % size) % size;
  const unsigned long from2To1 = (size - from1To2) % size;
  return from1To2 < length1 || from2To1 < length2;
}

}  // namespace

bool IsHalfWritten(FileAllocationTableEntry const& entry) {
  constexpr unsigned int LastByte = 0xFF00;
  return EEPromHelper::IsAddressValid(entry.Address) && (entry.Size & LastByte) == LastByte;
}

unsigned short StartAddress(FileAllocationTable const& table, File file) {
  if (Index(file) < table.size() && EEPromHelper::IsAddressValid(table[Index(file)].Address)) {
    return table[Index(file)].Address;
  }
  FileAllocationTableEntry const* highest = nullptr;
  for (FileAllocationTableEntry const& entry : table) {
    if (!EEPromHelper::IsAddressValid(entry.Address)) continue;
    if (highest == nullptr || entry.Address > highest->Address) highest = &entry;
  }
  if (highest == nullptr) return EEPromHelper::FilesInEEPromStartOffset;
  return static_cast<unsigned short>(RoundedUp(0UL + highest->Address + highest->Size));
}

FileLayout::FileLayout(FileAllocationTable const& startTable, unsigned long sizeOfDevice,
                       IsReadable readablePredicate)
    : table(startTable), deviceSize(sizeOfDevice), isReadable(std::move(readablePredicate)), states() {}

void FileLayout::Lift(File file) {
  table[Index(file)] = {EEPromHelper::FreshEEPromValue, EEPromHelper::FreshEEPromValue};
  states[Index(file)] = State::Lifted;
}

void FileLayout::Place(File file, unsigned long start, unsigned long length) {
  table[Index(file)] = {static_cast<unsigned short>(start), static_cast<unsigned short>(length)};
  states[Index(file)] = State::Placed;
}

std::optional<unsigned short> FileLayout::StartFor(File file, unsigned long length) const {
  unsigned long start = StartAddress(table, file);
  if (!Fits(start, length)) start = StartAddress(WithoutTornEntries(table), file);
  if (RunsIntoAnother(file, start, length)) start = RoundedUp(HighestEnd());
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
  return std::any_of(AllFiles.begin(), AllFiles.end(), [&](File other) {
    if (other == file || !DescribesImage(table[Index(other)])) return false;
    const auto& [address, size] = table[Index(other)];
    return Meet(start, inside, address, size, deviceSize) && IsToBeKept(other);
  });
}

bool FileLayout::IsToBeKept(File file) const {
  const State state = states[Index(file)];
  return state == State::Placed || (state == State::Standing && isReadable(file));
}

unsigned long FileLayout::HighestEnd() const {
  unsigned long end = EEPromHelper::FilesInEEPromStartOffset;
  for (const File file : AllFiles) {
    const auto& [address, size] = table[Index(file)];
    if (DescribesImage(table[Index(file)]) && IsToBeKept(file)) end = std::max(end, 0UL + address + size);
  }
  return end;
}
