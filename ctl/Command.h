// What the commands of brindlectl share: their arguments, their surroundings, and how they fail.
#pragma once

#include <cstddef>
#include <istream>
#include <optional>
#include <ostream>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "eeprom/BoardBus.h"

inline constexpr char ProgramName[] = "brindlectl";

// The exit codes, Brindle's own and one more.
enum class ExitCode : int {
  Success = 0,           // done, or nothing differs, or nothing is wrong
  Found = 1,             // differences or problems were found
  Failed = 5,            // something could not be read, written or stored
  NotAccessible = 19,    // no EEPROM could be reached
  InvalidArguments = 22  // nothing was done
};

// What a command may use besides its arguments. Borrows the streams.
struct Environment {
  std::istream& input;
  std::ostream& output;    // results
  std::ostream& messages;  // everything else, each line prefixed by the program's name
  BusSource getBus;
  bool onTerminal = false;  // whether the messages go to a terminal, which is shown progress
};

// Prints one line: the program's name and `message`.
void PrintMessage(const Environment& environment, const std::string& message);

// Ends a command with `exitCode` and a message; the message names what failed and why.
class Failure final : public std::runtime_error {
 public:
  Failure(ExitCode code, const std::string& message) : std::runtime_error(message), exitCode(code) {}

  const ExitCode exitCode;
};

// The operands and options of one command, in the order in which they were given.
struct Arguments {
  std::vector<std::string> operands;
  std::vector<std::pair<std::string, std::string>> options;  // the name without its dashes, and the value

  [[nodiscard]] bool Has(const std::string& option) const { return Value(option).has_value(); }
  // Returns the value of the option's last occurrence; empty text for an option that takes none.
  [[nodiscard]] std::optional<std::string> Value(const std::string& option) const;
};

// Returns the number that `text` spells, decimal or hexadecimal (0x...). Throws Failure (22) when the whole
// text is not one number, or when the number is larger than `largest`.
[[nodiscard]] unsigned long ParseNumber(const std::string& text, unsigned long largest);

// Returns the index of the file that `text` names: 1, 2, 3 or peripheral, upgrade, board. Throws Failure
// (22).
[[nodiscard]] std::size_t ParseFileType(const std::string& text);
