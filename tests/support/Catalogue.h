// The EEPROMs and commands that the tests of whole runs share, and a generator of others.
#pragma once

#include <functional>
#include <string>
#include <vector>

#include "chip/chip_fault.h"
#include "support/StoreModel.h"

namespace Catalogue {

struct Contents {
  std::string name;
  Bytes memory;
};

// Data of this length, different for each seed.
Bytes Data(std::size_t length, unsigned int seed);

Command Write(unsigned int file, std::size_t length, unsigned int seed = 0);

// Writes a file 1 of 16,382 bytes, none of which is erased: its entry equals the reservation.
Command WriteLargestFirstFile();

// An erased chip after these commands.
Bytes After(const std::vector<Command>& commands);

// Erased; one, two, three files; files out of order; a damaged file; a peripheral configuration file that
// start-up lists; one that it recognises and has no need to list; a full chip.
const std::vector<Contents>& Eeproms();
// Returns the one of this name; throws std::out_of_range if there is none.
const Contents& Eeprom(const std::string& name);
const Contents& ThreeFiles();

// Gives the image of this entry the right checksum.
void MakeReadable(Bytes& memory, const Entry& entry);

// Commands that only read; those that replace a setting, the largest file or everything; these and writes of
// files of many lengths; all of them.
const std::vector<Command>& Reading();
const std::vector<Command>& Replacing();
const std::vector<Command>& Writing();
const std::vector<Command>& All();

// The ways in which power can fail during a page write: nothing of the page is stored, or its first n bytes,
// or some of its whole groups of four.
const std::vector<chip_fault>& PowerCuts();

// As PowerCuts, but the whole page is erased or holds anything, since a chip promises nothing of an
// interrupted write cycle.
const std::vector<chip_fault>& TornPages();

// Returns a number below its argument.
using Random = std::function<unsigned int(unsigned int)>;

// Contents with any table, most often one with entries near the places where files are. Most entries get a
// correct checksum, since only readable files can be lost.
Bytes AnyMemory(const Random& below);

// Any command; a write has often the size of an entry, or reaches just to the end of the chip or one byte
// beyond.
Command AnyCommand(const Random& below, const Bytes& memory);

// Slow builds run only every Stride-th case: those with a sanitizer or for an emulated processor.
constexpr unsigned int Stride = BRINDLE_TEST_STRIDE;

// Returns how many of these cases that are.
constexpr unsigned long PerStride(unsigned long cases) {
  return cases / Stride;
}

}  // namespace Catalogue
