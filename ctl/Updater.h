// Updates a CAT24C256 to a target content: writes the pages that differ, reads the chip back, and writes
// again what still differs.
#pragma once

#include <functional>
#include <vector>

#include "ctl/Journal.h"
#include "eeprom/Cat24c256Eeprom.h"

// The numbers of the pages of 64 bytes in which two contents differ, in the order in which they are written:
// increasing, but page 0 with settings and table last.
[[nodiscard]] std::vector<std::size_t> DifferingPages(const std::vector<unsigned char>& content,
                                                      const std::vector<unsigned char>& target);

class Updater final {
 public:
  static constexpr std::size_t PageSize = Cat24c256Eeprom::PageSize;
  static constexpr std::size_t Pages = Cat24c256Eeprom::Size / PageSize;

  // Called after each page, with the number of pages written so far and of all pages to write.
  using Progress = std::function<void(std::size_t written, std::size_t pages)>;

  // Borrows the chip, which nobody else may use meanwhile, and reads it. Throws Failure (5).
  explicit Updater(Eeprom& borrowedChip);

  // What the chip held when it was last read.
  [[nodiscard]] const std::vector<unsigned char>& Content() const { return content; }

  // Reads again what could have been misread, so that a target can be made from the content. Throws as
  // Confirmed does.
  void ConfirmContent();

  // Returns an estimate of the seconds, rounded up, for writing so many pages and reading the chip back. It
  // comes from the time that the first read took.
  [[nodiscard]] unsigned long Seconds(std::size_t pages) const;

  // Returns whether nothing was stored on the chip since the journal's update was cut off: every page equals
  // the old or the target's one. One page that the update writes may be torn: the first, in the order of
  // writing, that is not the target's. A page that equals neither is read a second time. Throws Failure (5).
  [[nodiscard]] bool IsCutOff(const Journal& journal);

  // Returns when the chip, read back, equals the target; throws Failure (5) when it does not after three
  // rounds, or cannot be read. A round ends at the first page that the chip refuses.
  void Run(const std::vector<unsigned char>& target, const Progress& progress);

 private:
  void ReadAgain(const std::vector<std::size_t>& pages);

  Eeprom& chip;
  std::vector<unsigned char> content;
  double readSeconds = 0;
};
