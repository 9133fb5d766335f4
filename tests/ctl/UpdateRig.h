// brindlectl's updates in this process, with their journal in the working folder.
#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <vector>

#include "ctl/CtlRig.h"

// An update, and what it makes of an EEPROM by the model.
struct UpdateCase {
  std::string name;
  Bytes before;
  std::string words;  // after "update"
  Bytes after;

  // Names the case in a test's name.
  friend void PrintTo(const UpdateCase& each, std::ostream* output) { *output << each.name; }
};

class UpdateRig : public testing::Test, protected CtlRig {
 public:
  static Bytes Old();  // files 1 to 3, and both settings
  static Bytes New();
  static UpdateCase ImageCase();

 protected:
  // What a run without a fault does. Messages and page writes are numbered from 1.
  struct QuietRun {
    std::vector<bool> isPageWrite;  // by the number of the message
    std::uint64_t messages = 0;
    std::uint64_t firstWrite = 0;  // message
    std::uint64_t lastWrite = 0;
    std::uint64_t pageWrites = 0;
    std::uint64_t bytes = 0;  // on the wire
  };

  // Makes the host files "target", an image with other files and settings than Old(), and "upgrade", its
  // file 2.
  void SetUp() override;

  QuietRun RunQuietly(const UpdateCase& update);

  int Update(const UpdateCase& update) { return Ctl("update --journal=. " + update.words); }
  int Recover() { return Ctl("recover --journal=."); }

  // Runs the image case until the power goes in its third page write, in which 20 bytes are stored.
  void CutUpdate();

  [[nodiscard]] std::uint64_t PageWrites() const { return chip.Model().page_writes; }
  [[nodiscard]] static bool HasJournal();
};

// Returns whether the settings, the table and the files in it are the same.
[[nodiscard]] bool MeansTheSame(const Bytes& left, const Bytes& right);

// Images, changes, and files of 16,382 bytes, whose entry equals the reservation or is not there.
const std::vector<UpdateCase>& UpdateCases();
