// Brings a CAT24C256 to a target: writes what differs, page by page, reads the chip back, and writes again
// what still differs.
//
// No page is written that the target does not name, unless an address that was flipped on the wire led a
// write there. What the target is made from, and what is written over, is never taken from one reading alone:
// each page that will be written is read twice at least, and the reading at the end shows whether any other
// one was misread, or changed.
#pragma once

#include <bitset>
#include <chrono>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "content/CachedEeprom.h"
#include "content/Target.h"
#include "ctl/Journal.h"

// Returns the numbers of the pages in the order in which they are written: increasing, but page 0 with
// settings and table last.
[[nodiscard]] std::vector<std::size_t> WritingOrder(const PageSet& pages);

class Updater final {
 public:
  // Makes the target from the content before the update.
  using Plan = std::function<Target(const std::vector<unsigned char>& before)>;

  // Keeps what is needed to finish the update after a power cut: the target, and what the pages held before
  // they were first written. Called before pages are written that the last call did not cover; `pages` are
  // these and those that were written before.
  using Keep =
      std::function<void(const std::vector<unsigned char>& old, const Target& target, const PageSet& pages)>;

  // Called after each page, with the number of pages written so far and of all pages to write.
  using Progress = std::function<void(std::size_t written, std::size_t pages)>;

  // Borrows the chip, which nobody else may use meanwhile, and reads it. This and all functions that read the
  // chip throw std::runtime_error, with `chipName` in the message, when it cannot be read or does not read
  // twice alike.
  Updater(Eeprom& borrowedChip, std::string chipName);

  // The reading of the chip before the update, to be confirmed where a plan rests on it.
  [[nodiscard]] CachedEeprom& Before() { return reading; }

  // Returns the pages of the journal that are neither the old nor the target's ones. Each page that is not
  // the target's has been confirmed then.
  [[nodiscard]] PageSet ForeignPages(const Journal& journal);

  // Returns other pages that were written all the same: a file could be read before the update and cannot be
  // read now, for what differs in them.
  [[nodiscard]] PageSet StrayPages(const Journal& journal);

  // Returns whether the chip is still as the interrupted update left it: there is no stray and no foreign
  // page, or just one foreign one, which the cut may have torn. That is the first, in the order of writing,
  // that is not the target's yet, if the update writes it.
  [[nodiscard]] bool IsCutOff(const Journal& journal);

  // Makes the target, and confirms the pages that it will write.
  void Prepare(Plan newPlan);

  // After Prepare, where readings have differed: confirms also the pages of which all bytes are the same, as
  // a reading that lost its address shows them, and makes the target again. What a journal of all pages calls
  // old is settled then.
  void ConfirmUniformPages();

  // After Prepare: the target, and the pages to be written.
  [[nodiscard]] const Target& NewTarget() const { return target; }
  [[nodiscard]] PageSet Pending() const;

  // Returns an estimate of the seconds, rounded up, for writing so many pages and reading the chip back. It
  // comes from the time that the first reading took, and that the pages took that have been written; before,
  // from the pause of the chip's driver.
  [[nodiscard]] unsigned long Seconds(std::size_t pages) const;

  // Returns whether the chip has taken no page, and holds what it held before.
  [[nodiscard]] bool IsUntouched() const { return isContentKnown && writtenPages == 0 && content == before; }

  // Returns the seconds since the object was made.
  [[nodiscard]] double ElapsedSeconds() const;

  // After Prepare: returns when the pages of the target, read back, hold it, and all others read as before.
  // Throws std::runtime_error when they do not after three rounds. A round ends at the first page that the
  // chip refuses. Where another page has changed, what two readings or a checksum had settled is written
  // again; anything else in it counts as misread before, and the plan is made again.
  // `keep` may be empty.
  void Run(const Keep& keep, const Progress& progress);

 private:
  void WritePages(const PageSet& pages, const Progress& progress);
  bool WritePage(std::size_t page);
  [[nodiscard]] bool ReadBack(const PageSet& written);

  Eeprom& chip;
  std::string name;
  CachedEeprom reading;
  std::chrono::steady_clock::time_point start = std::chrono::steady_clock::now();
  double readSeconds = 0;
  double writeSeconds = 0;       // that the written pages took
  std::size_t writtenPages = 0;  // in all rounds
  Plan plan;
  Target target;
  std::vector<unsigned char> before;   // content before the update
  std::bitset<EepromSize> intact;      // bytes of `before` that a checksum settles
  std::vector<unsigned char> content;  // content that was read last
  bool isContentKnown = true;          // nothing was written since
};
