// The file-allocation table: an entry for each of the three stored files, with the address and the size of
// its image.
//
// Addresses and sizes are in bytes. A table knows no device: what it says of a file may be wrong, and an
// image may lie beyond the end of the memory. All functions are pure; any thread.
#pragma once

#include <array>
#include <cstddef>
#include <span>

#include "eeprom/EEPromHandler.h"
#include "eeprom/EEPromHelper.h"

class FileAllocationTable final {
 public:
  using File = EEPromHandler::FilesInEEProm;
  using Entry = FileAllocationTableEntry;

  static constexpr std::array Files = {File::PeripheralConfig, File::UpgradeFile, File::BoardConfig};
  static constexpr std::size_t EncodedSize = Files.size() * EEPromHelper::FileAllocationTableEntrySize;
  static constexpr unsigned int Alignment = 64;  // of the images that are placed here
  static constexpr Entry Erased = {EEPromHelper::FreshEEPromValue, EEPromHelper::FreshEEPromValue};
  // Keeps the peripheral configuration file's place while nothing says how long the file is.
  static constexpr Entry Reservation = {EEPromHelper::FilesInEEPromStartOffset,
                                        EEPromHelper::FileInEEPromReservedBytes};

  // The coding in the EEPROM, at EEPromHelper::FileAllocationTableEntryOffset. Any bytes can be decoded.
  [[nodiscard]] static FileAllocationTable Decode(std::span<const unsigned char, EncodedSize> bytes);
  [[nodiscard]] std::array<unsigned char, EncodedSize> Encode() const;

  // Returns whether there is an entry for `file`. Operator[] must not be called without one; the other
  // functions treat such a file as one with an invalid entry.
  [[nodiscard]] static bool HasEntry(File file);
  [[nodiscard]] Entry& operator[](File file) { return entries[static_cast<std::size_t>(file)]; }
  [[nodiscard]] const Entry& operator[](File file) const { return entries[static_cast<std::size_t>(file)]; }

  // Returns whether the file's address is valid. If so, the file is written there, even if the size is not.
  [[nodiscard]] bool HasPlace(File file) const;

  // Returns whether address and size are valid, so that there is an image to read.
  [[nodiscard]] bool DescribesFile(File file) const;

  // Returns whether power failed while the entry was written over its erased state: it has a place, but the
  // last byte is still 0xFF, and no image has 0xFF00 bytes.
  [[nodiscard]] bool IsTorn(File file) const;

  // Returns the same table with its torn entries erased.
  [[nodiscard]] FileAllocationTable WithoutTornEntries() const;

  // Returns where the file is, or would be, stored: at its own address, else at the aligned end of the file
  // with the highest address (the first of equal ones), modulo 65536, else at the start of the file area.
  [[nodiscard]] unsigned short StartAddress(File file) const;

  // Returns the next multiple of Alignment; `address` itself if it is one.
  [[nodiscard]] static unsigned long Align(unsigned long address);

  bool operator==(const FileAllocationTable&) const = default;

 private:
  std::array<Entry, Files.size()> entries{};
};

// Returns whether two ranges overlap in a memory of `size` bytes with wrap-around addresses.
[[nodiscard]] bool Overlap(unsigned long start1, unsigned long length1, unsigned long start2,
                           unsigned long length2, unsigned long size);
