#include "ctl/Source.h"

#include <utility>

#include "content/Confirmation.h"
#include "ctl/Failure.h"
#include "ctl/HostBytes.h"

std::vector<unsigned char> ReadHostFile(const std::string& path, const Environment& environment) {
  constexpr std::size_t Limit = EepromSize + 1;
  if (path != "-") return ReadBytes(path, Limit);
  std::vector<unsigned char> content(Limit);
  std::istream& input = environment.input;
  input.read(reinterpret_cast<char*>(content.data()), static_cast<std::streamsize>(content.size()));
  if (!input && !input.eof()) FailAt("standard input");
  content.resize(static_cast<std::size_t>(input.gcount()));
  return content;
}

Source::Source(std::string sourceName, const Arguments& arguments, const Environment& environment)
    : name(std::move(sourceName)) {
  if (!ChipName::IsChip(name)) {
    image = ReadHostFile(name, environment);
    return;
  }
  const ChipName chipName = ChipName::Parse(name, ChipName::BoardSlave(arguments));
  chip = std::make_unique<Chip>(chipName, Chip::Use::Read, environment);
  reading.emplace(chip->Memory(), name);
}

EepromContent Source::Examine() {
  if (!reading) return ::Examine(image);
  ConfirmContent(*reading);
  return ::Examine(*reading);
}

const std::vector<unsigned char>& Source::Content() {
  if (reading) return reading->Content();
  if (image.size() != EepromSize) throw Failure(ExitCode::Failed, name + ": not 32768 bytes long");
  return image;
}

void Source::Confirm(const PageSet& pages) {
  if (reading) reading->Confirm(pages);
}
