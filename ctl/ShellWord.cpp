#include "ctl/ShellWord.h"

#include <algorithm>
#include <cctype>
#include <string_view>

std::string ShellWord(const std::string& text) {
  constexpr std::string_view Plain = "_./@%+=:,-";
  const auto isPlain = [&](unsigned char character) {
    return std::isalnum(character) != 0 || Plain.find(static_cast<char>(character)) != std::string_view::npos;
  };
  if (!text.empty() && std::all_of(text.begin(), text.end(), isPlain)) return text;
  std::string word = "'";
  for (const char character : text) {
    if (character == '\'') {
      word += "'\\''";
    } else {
      word += character;
    }
  }
  return word + "'";
}
