// What the content of an EEPROM means, as Brindle would find it at its next start: settings, files, and what
// is wrong with them. One thread at a time for one EEPROM.
#pragma once

#include <array>
#include <optional>
#include <string>
#include <vector>

#include "eeprom/Eeprom.h"

enum class FileState {
  Stored,    // Brindle reads it
  Empty,     // an image of no data, which reads as no file
  Damaged,   // the checksum is wrong
  Reserved,  // file 1: room is kept, 0x4000 bytes at 0x0040
  Absent     // the table describes no image
};

// A file as the table describes it. Addresses and sizes are in bytes. An absent file has no values but its
// room, and a reserved one also its place. There is no room where Brindle would refuse even an empty file.
struct FileContent {
  FileState state = FileState::Absent;
  std::optional<unsigned short> address;           // of the image
  std::optional<unsigned short> size;              // of the image, with its two checksum bytes
  std::optional<unsigned short> checksum;          // as stored
  std::optional<unsigned short> computedChecksum;  // of the data
  std::vector<unsigned char> data;                 // of a stored or damaged file
  std::optional<unsigned long> room;               // the most bytes of data that Brindle would store now
};

// Something that is wrong with a content, whoever wrote it. `id` is fixed, `text` is a sentence; `files` are
// the indices of the files that it concerns.
struct Finding {
  const char* id;
  std::string text;
  std::vector<std::size_t> files;
};

struct EepromContent {
  std::optional<unsigned short> revision;      // no value when it is erased
  std::optional<unsigned char> developerByte;  // 0xA5 set, 0x00 cleared, 0xFF erased
  std::array<FileContent, 3> files;            // by EEPromHandler::FilesInEEProm
  std::optional<unsigned long> freeBytes;      // bytes of the file area that belong to no image
  std::vector<Finding> findings;
};

// Returns what an EEPROM of the CAT24C256's size holds, of which it reads what it needs and writes nothing.
[[nodiscard]] EepromContent Examine(Eeprom& eeprom);

// Returns what `image` holds. If it does not have the EEPROM's size, that finding is all that the result has.
[[nodiscard]] EepromContent Examine(const std::vector<unsigned char>& image);

// "peripheral", "upgrade", "board".
[[nodiscard]] const char* FileName(std::size_t file);

// Returns the name for messages: "file 2 (upgrade)".
[[nodiscard]] std::string FileTitle(std::size_t file);

// "stored", "empty", "damaged", "reserved", "absent".
[[nodiscard]] const char* StateName(FileState state);
