// A copy of another EEPROM of the CAT24C256's size. Each page is read when it is first needed, and kept; what
// is written stays in the copy.
//
// One reading of a page can be wrong, since a bus detects no flipped bit and repeats a transfer that failed
// after the chip's address counter had moved. Confirm reads pages until that is ruled out.
//
// Borrows the other EEPROM, which nobody may change meanwhile. Functions that read it throw
// std::runtime_error, with `name` in the message, when it delivers a page short.
#pragma once

#include <string>
#include <vector>

#include "content/MemoryEeprom.h"
#include "content/Pages.h"
#include "eeprom/Eeprom.h"

class CachedEeprom final : public Eeprom {
 public:
  explicit CachedEeprom(Eeprom& copiedEeprom, std::string nameForMessages = "EEPROM");

  int Read(unsigned short address, unsigned char* buffer, int length) override;
  int Write(unsigned short address, const unsigned char* data, int length) override;
  bool Erase(unsigned short address, unsigned short length) override;
  bool EraseAll() override;
  [[nodiscard]] unsigned long GetSizeInBytes() const override { return EepromSize; }

  // Returns the whole content, for which it reads the pages that have not been read yet. If all are read at
  // once, page 0 is read again at the end, where the chip's addresses wrap: it reads differently if the
  // address was lost on the way.
  [[nodiscard]] const std::vector<unsigned char>& Content();

  // Makes sure of these pages, but for those that are confirmed already: reads each once more and, if the two
  // readings differ, again until one content leads by two readings, or by three if it is uniform and another
  // one is not. The transfers of each reading begin at other addresses, so that what always strikes the same
  // byte of a transfer does not strike the same byte of a page twice. Throws std::runtime_error also when
  // seven readings do not settle a page. Not for pages that have been written.
  void Confirm(const PageSet& pages);

  // Returns whether two readings of any page have differed.
  [[nodiscard]] bool IsDisturbed() const { return isDisturbed; }

  // Returns the pages that have been confirmed.
  [[nodiscard]] const PageSet& Confirmed() const { return confirmed; }

 private:
  void Fetch(const PageSet& pages);
  void FetchAll();
  void ReadRun(const PageRun& run, std::size_t split, std::vector<unsigned char>& into);

  Eeprom& source;
  std::string name;
  std::vector<unsigned char> content;
  MemoryEeprom memory;
  PageSet fetched;
  PageSet confirmed;
  bool isDisturbed = false;
};
