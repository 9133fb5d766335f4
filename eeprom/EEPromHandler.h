// The store of up to three files, and of the board's settings, in the board EEPROM.
//
// Operations return true for success and false for any failure. They print nothing, and throw only for a text
// that is no number and when memory runs out. Only IsEEPromAccessible may be called on a store that is not
// accessible. One thread at a time; each call blocks until the chip has finished.
#pragma once

#include <string>

class EEPromHandler {
 public:
  // A stored file, and its entry in the file-allocation table. The command line shows the number plus one.
  enum class FilesInEEProm : unsigned int { PeripheralConfig = 0, UpgradeFile = 1, BoardConfig = 2 };

  EEPromHandler() = default;
  virtual ~EEPromHandler() = default;
  EEPromHandler(const EEPromHandler&) = delete;
  EEPromHandler& operator=(const EEPromHandler&) = delete;

  [[nodiscard]] virtual bool IsEEPromAccessible() const = 0;

  // These work on a stored file and the host file at `path`, which holds the data alone. A host file that
  // cannot be read in full fails with the EEPROM untouched, and so does Write of more than the whole device;
  // a pipe is read to its end and fails when it delivers no data. Read creates or truncates the host file
  // only once it has the data. Read and Verify go by the table alone: with a foreign table a file can be
  // longer than the device, since the chip's addresses wrap, and then has up to 0xFFFC bytes.
  virtual bool Write(FilesInEEProm file, const std::string& path) = 0;
  // These work on the whole EEPROM and a raw image. WriteAll pads a shorter image with 0xFF, and refuses one
  // whose size cannot be measured (a pipe); VerifyAll fails unless the image has the device's size.
  virtual bool WriteAll(const std::string& path) = 0;
  virtual bool Read(FilesInEEProm file, const std::string& path) = 0;
  virtual bool ReadAll(const std::string& path) = 0;

  // Turns every byte into 0xFF. Returns whether any page was erased.
  virtual bool Erase() = 0;

  virtual bool Verify(FilesInEEProm file, const std::string& path) = 0;
  virtual bool VerifyAll(const std::string& path) = 0;

  // The board bytes, addresses 0 to 3; a word is little-endian and must lie within them. Any other address
  // gives 0 or false, and nothing is sent to the device. What cannot be read is 0.
  virtual unsigned char ByteGet(unsigned short address) = 0;
  virtual bool ByteSet(unsigned short address, unsigned char value) = 0;
  // Sets the number in base `base` with which `text` begins, after white space and a sign if there are any,
  // modulo 256 or 65536. Throws std::invalid_argument when there is none and std::out_of_range when it
  // exceeds 32 bits signed, with nothing written.
  virtual bool ByteSet(unsigned short address, const std::string& text, unsigned char base) = 0;
  virtual unsigned short WordGet(unsigned short address) = 0;
  virtual bool WordSet(unsigned short address, unsigned short value) = 0;
  virtual bool WordSet(unsigned short address, const std::string& text, unsigned char base) = 0;

  // Sets the flag for the text "1", clears it for any other.
  virtual bool DeveloperBoardSet(unsigned short address, const std::string& text) = 0;

  // Writes the first 64 bytes as hexadecimal text, 4 lines of 16 bytes and 208 characters in all. What cannot
  // be read is shown as 00.
  virtual bool ReadBoardInformation(const std::string& path) = 0;
};
