// What a command makes of an EEPROM, told a second time: the model that the robustness tests hold the product
// to. It shares no code with it. Which bytes belong to which file is kept as a map of owners, byte by byte.
//
// Addresses and lengths are in bytes; files are numbered from 0. All functions are pure.
#pragma once

#include <array>
#include <optional>
#include <string>
#include <vector>

using Bytes = std::vector<unsigned char>;

constexpr std::size_t ChipSize = 32768;

struct Command {
  enum class Kind {
    Read,
    Write,
    Verify,
    ReadAll,
    WriteAll,
    VerifyAll,
    Erase,
    Revision,
    Developer,
    Information
  };

  Kind kind;
  unsigned int file = 0;
  Bytes host = {};          // content of the host file, for the kinds that read one
  unsigned int number = 0;  // Revision: the revision; Developer: 1 sets the flag

  [[nodiscard]] bool Writes() const;
  [[nodiscard]] std::string Word() const;
  [[nodiscard]] std::string Name() const;  // for messages, with the file and the length of its data
};

// What one run may end with. `mayChange` and `unknown` are masks over the memory, 0xFF where it holds.
struct Expectation {
  int exit = 0;
  std::optional<Bytes> host = {};        // the host file that the command makes
  Bytes memory = {};                     // of the chip afterwards
  Bytes mayChange = {};                  // what the command writes, the table included
  Bytes unknown = {};                    // what a moved image that was lost on the way left behind
  std::vector<unsigned int> moved = {};  // files whose images move
};

class StoreModel {
 public:
  // How the run begins: as it should; without having recognised an unlisted peripheral configuration file, or
  // without having listed it in the chip's table; or with a table that could not be read and counts as empty.
  enum class Start { Normal, NotRecognised, NotListed, NoTable };

  explicit StoreModel(Bytes chipMemory, Start start = Start::Normal);

  // The memory after start-up, which may have listed the peripheral configuration file.
  [[nodiscard]] Bytes const& Memory() const { return memory; }

  // The data of a stored file; no value when it is absent or damaged.
  [[nodiscard]] std::optional<Bytes> Content(unsigned int file) const;

  // `lost`: bit i set when file i, if it moves, cannot be written at its new place.
  [[nodiscard]] Expectation Expect(Command const& command, unsigned int lost = 0) const;

  // Checksum and data.
  static Bytes Image(Bytes const& data);

 private:
  struct Entry {
    unsigned int address;
    unsigned int size;
  };
  using Table = std::array<Entry, 3>;
  struct Placed {
    unsigned int file;
    unsigned int start;
    bool lost;
  };
  // A way to lay out the files, in the order of writing; `problem` tells why there is none.
  struct Layout {
    enum class Problem { None, NoRoom, InTheWay } problem = Problem::None;
    Table table = {};
    std::vector<Placed> placed = {};
  };

  static bool IsTorn(Entry const& entry);
  static unsigned int FollowingStart(Table const& table);
  std::vector<unsigned int> ReadableAfter(unsigned int file, bool orAbove) const;
  Layout Lay(unsigned int file, unsigned int length, bool stays, std::vector<unsigned int> const& moving,
             unsigned int lost) const;
  Layout Choose(unsigned int file, unsigned int length, unsigned int lost) const;
  Expectation ExpectWrite(Command const& command, unsigned int lost) const;
  Bytes Stored(Entry const& entry) const;
  bool IsReadable(unsigned int file) const { return Content(file).has_value(); }
  static Bytes WithTable(Bytes memory, Table const& table);

  Bytes memory;
  Table table;
};
