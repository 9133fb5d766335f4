// Brings the content of a CAT24C256 to a target: writes the pages that differ, reads the chip back and
// repeats what still differs.
#pragma once

#include <functional>
#include <vector>

#include "ctl/Journal.h"
#include "eeprom/Eeprom.h"

// The numbers of the pages of 64 bytes in which two contents differ, in the order in which they are written:
// increasing, but page 0 with settings and table last.
[[nodiscard]] std::vector<std::size_t> DifferingPages(const std::vector<unsigned char>& content,
                                                      const std::vector<unsigned char>& target);

class Updater {
 public:
  static constexpr std::size_t PageSize = 64;
  static constexpr std::size_t Pages = 512;

  // Called after each page, with how many of the pages to write are written.
  using Progress = std::function<void(std::size_t written, std::size_t pages)>;

  // Borrows the chip, which nobody else may use meanwhile, and reads it. Throws Failure (5).
  explicit Updater(Eeprom& borrowedChip);

  // What the chip held when it was last read.
  [[nodiscard]] const std::vector<unsigned char>& Content() const { return content; }

  // How long it takes to write as many pages and to read the chip back, by how long it took to read it; whole
  // seconds, rounded up.
  [[nodiscard]] unsigned long Seconds(std::size_t pages) const;

  // Whether the chip holds what a cut leaves of the journal's update, so that nothing was stored since: every
  // page is the old or the target's one, but for one page at most that the update writes. Pages that seem not
  // to be are read a second time. Throws Failure (5).
  [[nodiscard]] bool IsCutOff(const Journal& journal);

  // Returns when the chip, read back, equals the target; throws Failure (5) when it does not after three
  // rounds, or cannot be read.
  void Run(const std::vector<unsigned char>& target, const Progress& progress);

 private:
  void ReadAgain(const std::vector<std::size_t>& pages);

  Eeprom& chip;
  std::vector<unsigned char> content;
  double readSeconds = 0;
};
