// A CAT24C256 behind a file: that of the kernel's at24 driver, or any file with the chip's bytes.
//
// The driver splits what it is given into messages and waits for the chip's write cycles itself, for up to 25
// ms (drivers/misc/eeprom/at24.c of the kernel). So a write is over when the driver has taken it, and the
// next transfer may take as long as the write cycle. A driver that has not been told the page size writes
// each byte by itself.
#pragma once

#include <string>

#include "content/Pages.h"
#include "eeprom/Eeprom.h"

class FileEeprom final : public Eeprom {
 public:
  // Opens the file for reading, and for writing if `isWritten`. Throws Failure: 19 when it may not be used, 5
  // when it is read-only, has another size or cannot be opened for another reason.
  FileEeprom(const std::string& filePath, bool isWritten);
  ~FileEeprom() override;

  // These fail where the file's end is reached.
  int Read(unsigned short address, unsigned char* buffer, int length) override;
  int Write(unsigned short address, const unsigned char* data, int length) override;
  bool Erase(unsigned short address, unsigned short length) override;
  bool EraseAll() override;
  [[nodiscard]] unsigned long GetSizeInBytes() const override { return EepromSize; }

 private:
  int fd;
};
