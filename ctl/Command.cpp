#include "ctl/Command.h"

#include <charconv>

#include "ctl/EepromContent.h"

void PrintMessage(const Environment& environment, const std::string& message) {
  environment.messages << ProgramName << ": " << message << std::endl;
}

std::optional<std::string> Arguments::Value(const std::string& option) const {
  std::optional<std::string> last;
  for (const auto& [name, value] : options) {
    if (name == option) last = value;
  }
  return last;
}

unsigned long ParseNumber(const std::string& text, unsigned long largest) {
  const bool isHexadecimal = text.starts_with("0x") || text.starts_with("0X");
  const char* const begin = text.data() + (isHexadecimal ? 2 : 0);
  const char* const end = text.data() + text.size();
  unsigned long number = 0;
  const auto [stop, error] = std::from_chars(begin, end, number, isHexadecimal ? 16 : 10);
  if (error != std::errc() || stop != end || number > largest) {
    throw Failure(ExitCode::InvalidArguments, "no number from 0 to " + std::to_string(largest) + ": " + text);
  }
  return number;
}

std::size_t ParseFileType(const std::string& text) {
  for (std::size_t file = 0; file < 3; ++file) {
    if (text == FileName(file)) return file;
  }
  const unsigned long number = ParseNumber(text, 3);
  if (number == 0) throw Failure(ExitCode::InvalidArguments, "no file type: " + text);
  return number - 1;
}
