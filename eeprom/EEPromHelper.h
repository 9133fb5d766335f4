// The layout of the board EEPROM. Addresses and lengths are in bytes; multi-byte values are little-endian.
//
//   0x0000   1  board byte 0, set by nothing but an erase or a restored image
//   0x0001   2  baseboard revision
//   0x0003   1  developer-board flag
//   0x0004  12  file-allocation table: of each of the three files the address and the size of its image
//   0x0010  48  unassigned
//   0x0040      images of the stored files, each at a multiple of 64
//
// FileAllocationTable and StoredImage encode and decode the table and the images. The functions are pure; any
// thread.
#pragma once

#include <vector>

// The address of a file's stored image, and its length with the two checksum bytes.
struct FileAllocationTableEntry {
  unsigned short Address;  // NOLINT(readability-identifier-naming): the field names of the layout
  unsigned short Size;     // NOLINT(readability-identifier-naming)

  bool operator==(const FileAllocationTableEntry&) const = default;
};

namespace EEPromHelper {

// The EEPROM to open, by the board that carries it.
enum class EEPromLocation : unsigned int { GoldcrestBaseboard = 0, BaseboardDefault = 1 };

// Returns its 7-bit I2C address.
[[nodiscard]] unsigned short SlaveAddress(EEPromLocation location);

inline constexpr unsigned short DeveloperByteSetAddress = 3;
inline constexpr unsigned char DeveloperBoardEnabled = 0xA5;
inline constexpr unsigned char DeveloperBoardDisabled = 0x00;
inline constexpr unsigned short BoardTypeSetAddress = 1;
// Room reserved for the peripheral configuration file while the table does not say how long it is.
inline constexpr unsigned short FileInEEPromReservedBytes = 0x4000;
inline constexpr unsigned short FilesInEEPromStartOffset = 0x0040;
inline constexpr unsigned short FreshEEPromValue = 0xFFFF;
// Select the checksum byte that is stored first, and the one stored second.
inline constexpr unsigned short MaskMSB = 0x00FF;
inline constexpr unsigned short MaskLSB = 0xFF00;
inline constexpr unsigned short FileAllocationTableEntrySize = 4;
inline constexpr unsigned short FileAllocationTableEntryOffset = 4;
inline constexpr unsigned short EEPromStartAddressOffset = 0;

// Decodes an entry from the first 4 bytes of `buffer`, which must have them.
void ParseFileMetaData(const std::vector<unsigned char>& buffer, unsigned short& address,
                       unsigned short& size);

// Encodes an entry into exactly 4 bytes.
[[nodiscard]] std::vector<unsigned char> ConstructFileMetaDataBuffer(unsigned short address,
                                                                     const unsigned short& size);

// Return whether an entry may have this address or size: 4 to 0xFFFE, and 1 to 0xFFFE.
[[nodiscard]] bool IsAddressValid(unsigned short address);
[[nodiscard]] bool IsSizeValid(unsigned short size);

// Returns whether `address` is one of the four board bytes.
[[nodiscard]] bool ValidByteSetAddress(unsigned short address);

}  // namespace EEPromHelper
