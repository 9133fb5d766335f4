// The arguments of one command of brindlectl, and the values in them.
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <utility>
#include <vector>

// The operands and options, in the order in which they were given.
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
