// The file store on the board's CAT24C256.
//
// It keeps a copy of the file-allocation table, read when the store is built and after every table write.
// While the table has no usable entry for the peripheral configuration file, the copy holds a reservation for
// it, which the next table write stores. Writing a file writes the new image first, then the relocated
// images, the table last: it is not atomic, and a power cut in between can cost the files that were being
// written.
#pragma once

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "eeprom/EEPromHandler.h"
#include "eeprom/EEPromHelper.h"
#include "eeprom/Eeprom.h"
#include "eeprom/FileAllocationTable.h"
#include "eeprom/StoredImage.h"
#include "i2c/I2CBus.h"

class PosixEEpromHandler : public EEPromHandler {
 public:
  // Finds the chip at `location` on `bus`, of which it keeps no share, and opens the store on it. The store
  // is not accessible when there is no bus or no chip answers.
  PosixEEpromHandler(EEPromHelper::EEPromLocation location, std::shared_ptr<I2CBus> bus);

  // Opens the store on `ownDevice`, which may be no chip, or null: reads the table, and makes the first file
  // the peripheral configuration file. A table that cannot be read counts as empty.
  explicit PosixEEpromHandler(std::unique_ptr<Eeprom> ownDevice);

  [[nodiscard]] bool IsEEPromAccessible() const override;
  bool Write(FilesInEEProm file, const std::string& path) override;
  bool WriteAll(const std::string& path) override;
  bool Read(FilesInEEProm file, const std::string& path) override;
  bool ReadAll(const std::string& path) override;
  bool Erase() override;
  bool Verify(FilesInEEProm file, const std::string& path) override;
  bool VerifyAll(const std::string& path) override;
  unsigned char ByteGet(unsigned short address) override;
  bool ByteSet(unsigned short address, unsigned char value) override;
  bool ByteSet(unsigned short address, const std::string& text, unsigned char base) override;
  unsigned short WordGet(unsigned short address) override;
  bool WordSet(unsigned short address, unsigned short value) override;
  bool WordSet(unsigned short address, const std::string& text, unsigned char base) override;
  bool DeveloperBoardSet(unsigned short address, const std::string& text) override;
  bool ReadBoardInformation(const std::string& path) override;

  // Stores `data` as `file`; PlacementPlan.h says where. Returns true when the new image and, if it had
  // to change, the table were written, and false with nothing written when there is no room, or when an image
  // that decides the placement could not be read and may be a good file. A relocated file that could not be
  // written drops out of the table. Data of no bytes is stored, and reads back as no file.
  bool Write(FilesInEEProm file, const std::vector<unsigned char>& data);

  // Sets the word at `address` to the decimal number in `text`; throws as WordSet does.
  bool BaseboardIdSet(unsigned short address, const std::string& text);

  // Returns the stored image of `file`, its two checksum bytes included; empty when the file is absent or
  // damaged or could not be read.
  [[nodiscard]] std::vector<unsigned char> ReadCurrentFile(FilesInEEProm file) const;

  // Returns the copy of the table: what the EEPROM held when it was last read, and the entry that was made
  // for the peripheral configuration file since.
  [[nodiscard]] const FileAllocationTable& Table() const { return table; }

  // Returns where `file` is, or by the table alone would be, stored, which may be outside the file area.
  [[nodiscard]] unsigned short GetFileStartAddress(FilesInEEProm file) const;

  // Reads the table into the copy, which stays as it was when that fails.
  bool ReadFileAllocationTable();

  // Writes the copy and reads it back. Returns whether the whole table was written.
  bool WriteFileAllocationTable();

  // Reserves the peripheral configuration file's place when its entry is not usable, or was torn by a power
  // cut while it was written there. When the reserved block has a correct checksum, the file is taken to end
  // before its first 0xFF byte, and the table is written; if that fails, the copy keeps the entry.
  void MakeFirstFileAsPeripheralConfig();

 private:
  [[nodiscard]] std::optional<StoredImage> ReadFile(FilesInEEProm file) const;
  bool WriteBytes(unsigned short address, const std::vector<unsigned char>& bytes);
  [[nodiscard]] std::optional<std::vector<unsigned char>> ReadDevice() const;

  FileAllocationTable table;
  std::unique_ptr<Eeprom> device;
};
