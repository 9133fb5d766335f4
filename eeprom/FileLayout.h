// A file-allocation table while it is being changed: which images may not be overwritten, and where the next
// one goes. Knows no device; a predicate tells which entries describe a readable file, and is asked only
// about those that matter.
//
// Addresses and lengths are in bytes. The chip's addresses go round at the end of its memory, so images that
// a foreign table puts beyond the end are looked for where the chip keeps them.
#pragma once

#include <array>
#include <functional>
#include <optional>

#include "eeprom/FileAllocationTable.h"

class FileLayout {
 public:
  using File = EEPromHandler::FilesInEEProm;
  using IsReadable = std::function<bool(File)>;

  FileLayout(FileAllocationTable const& startTable, unsigned long sizeOfDevice, IsReadable readablePredicate);

  // Takes a file out: its entry is erased, its image may be overwritten.
  void Lift(File file);

  // Enters an image of `length` bytes at `start`, from now on not to be overwritten.
  void Place(File file, unsigned long start, unsigned long length);

  // Returns where an image of `length` bytes goes for a lifted file: to StartAddress, and where it does not
  // fit there, to the StartAddress of the table without its torn entries. If it would overwrite an
  // image there, it goes after the image that ends highest. No value when it does not fit.
  [[nodiscard]] std::optional<unsigned short> StartFor(File file, unsigned long length) const;

  // Whether an image may lie there at all: inside the file area and the device.
  [[nodiscard]] bool Fits(unsigned long start, unsigned long length) const;

  // Whether these bytes, as far as they lie in the device, belong to the placed or readable image of another
  // file than `file`.
  [[nodiscard]] bool RunsIntoAnother(File file, unsigned long start, unsigned long length) const;

  [[nodiscard]] FileAllocationTable const& Table() const { return table; }

 private:
  enum class State { Standing, Lifted, Placed };

  [[nodiscard]] bool IsToBeKept(File file) const;
  [[nodiscard]] unsigned long HighestEnd() const;

  FileAllocationTable table;
  unsigned long deviceSize;
  IsReadable isReadable;
  std::array<State, 3> states;
};
