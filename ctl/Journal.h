// All that is needed to finish an update that was cut off, and the file that keeps it during the update.
//
// The file, numbers little-endian, addresses and lengths in bytes:
//
//       0      8  "BRINDLEJ"
//       8      2  version of this format, 1
//      10      2  7-bit I2C address of the chip
//      12  32768  content of the chip before the update
//   32780  32768  target: content of the chip after the update
//   65548      4  CRC-32 (as in IEEE 802.3) of all bytes before
#pragma once

#include <optional>
#include <span>
#include <string>
#include <vector>

struct Journal {
  unsigned short slave = 0;
  std::vector<unsigned char> old;  // of the EEPROM's size, as is the target
  std::vector<unsigned char> target;

  [[nodiscard]] std::vector<unsigned char> Encode() const;
  // Returns no value when the size, the version or the checksum is wrong.
  [[nodiscard]] static std::optional<Journal> Decode(std::span<const unsigned char> bytes);
};

// The file of the journal, which is there while an update is under way or was cut off.
class JournalFile final {
 public:
  // Part of the installation.
  static constexpr char DefaultFolder[] = BRINDLE_STATE_DIR;

  explicit JournalFile(const std::string& folder);

  [[nodiscard]] const std::string& Path() const { return path; }

  // Returns whether the file exists, whatever it holds. Throws Failure (5) when its folder cannot be
  // searched.
  [[nodiscard]] bool Exists() const;

  // Returns no value when there is no file. Throws Failure (5) when it cannot be read or is no whole journal.
  [[nodiscard]] std::optional<Journal> Read() const;

  // The change is on the disk when these return. Write replaces an older file in one step; Remove succeeds
  // without a file. They throw Failure (5); a failed Write leaves no journal where there was none.
  void Write(const Journal& journal) const;
  void Remove() const;

 private:
  void RemoveLeftovers() const;

  std::string path;
};
