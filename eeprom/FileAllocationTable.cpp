#include "eeprom/FileAllocationTable.h"

#include <algorithm>
#include <vector>

FileAllocationTable FileAllocationTable::Decode(std::span<const unsigned char, EncodedSize> bytes) {
  FileAllocationTable table;
  auto from = bytes.begin();
  for (auto& [address, size] : table.entries) {
    const auto to = from + EEPromHelper::FileAllocationTableEntrySize;
    EEPromHelper::ParseFileMetaData({from, to}, address, size);
    from = to;
  }
  return table;
}

std::array<unsigned char, FileAllocationTable::EncodedSize> FileAllocationTable::Encode() const {
  std::array<unsigned char, EncodedSize> bytes{};
  auto to = bytes.begin();
  for (const auto& [address, size] : entries) {
    const auto encoded = EEPromHelper::ConstructFileMetaDataBuffer(address, size);
    to = std::copy(encoded.begin(), encoded.end(), to);
  }
  return bytes;
}

bool FileAllocationTable::HasEntry(File file) {
  return static_cast<std::size_t>(file) < Files.size();
}

bool FileAllocationTable::HasPlace(File file) const {
  return HasEntry(file) && EEPromHelper::IsAddressValid((*this)[file].Address);
}

bool FileAllocationTable::DescribesFile(File file) const {
  return HasPlace(file) && EEPromHelper::IsSizeValid((*this)[file].Size);
}

bool FileAllocationTable::IsTorn(File file) const {
  constexpr unsigned int LastByte = 0xFF00;
  return HasPlace(file) && ((*this)[file].Size & LastByte) == LastByte;
}

FileAllocationTable FileAllocationTable::WithoutTornEntries() const {
  FileAllocationTable whole = *this;
  for (const File file : Files) {
    if (IsTorn(file)) whole[file] = Erased;
  }
  return whole;
}

unsigned short FileAllocationTable::StartAddress(File file) const {
  if (HasPlace(file)) return (*this)[file].Address;
  const Entry* highest = nullptr;
  for (const Entry& entry : entries) {
    if (!EEPromHelper::IsAddressValid(entry.Address)) continue;
    if (highest == nullptr || entry.Address > highest->Address) highest = &entry;
  }
  if (highest == nullptr) return EEPromHelper::FilesInEEPromStartOffset;
  return static_cast<unsigned short>(Align(0UL + highest->Address + highest->Size));
}

unsigned long FileAllocationTable::Align(unsigned long address) {
  return (address + Alignment - 1) / Alignment * Alignment;
}

bool Overlap(unsigned long start1, unsigned long length1, unsigned long start2, unsigned long length2,
             unsigned long size) {
  const unsigned long from1To2 = (start2 % size + size - start1 % size) % size;
  const unsigned long from2To1 = (size - from1To2) % size;
  return from1To2 < length1 || from2To1 < length2;
}
