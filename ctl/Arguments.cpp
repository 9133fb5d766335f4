#include "ctl/Arguments.h"

#include <charconv>

#include "content/EepromContent.h"
#include "ctl/Failure.h"

namespace {

std::optional<unsigned long> NumberIn(const std::string& text) {
  const bool isHexadecimal = text.starts_with("0x") || text.starts_with("0X");
  const char* const begin = text.data() + (isHexadecimal ? 2 : 0);
  const char* const end = text.data() + text.size();
  unsigned long number = 0;
  const auto [stop, error] = std::from_chars(begin, end, number, isHexadecimal ? 16 : 10);
  if (error != std::errc() || stop != end) return std::nullopt;
  return number;
}

}  // namespace

std::optional<std::string> Arguments::Value(const std::string& option) const {
  std::optional<std::string> last;
  for (const auto& [name, value] : options) {
    if (name == option) last = value;
  }
  return last;
}

unsigned long ParseNumber(const std::string& text, unsigned long largest) {
  const auto number = NumberIn(text);
  if (!number || *number > largest) {
    throw Failure(ExitCode::InvalidArguments, "no number from 0 to " + std::to_string(largest) + ": " + text);
  }
  return *number;
}

std::size_t ParseFileType(const std::string& text) {
  const auto number = NumberIn(text);
  for (std::size_t file = 0; file < 3; ++file) {
    if (text == FileName(file) || number == file + 1) return file;
  }
  throw Failure(ExitCode::InvalidArguments,
                "no file type: " + text + " (1, 2, 3 or peripheral, upgrade, board)");
}
