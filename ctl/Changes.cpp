#include "ctl/Changes.h"

#include <memory>
#include <string>

#include "ctl/EepromContent.h"
#include "ctl/MemoryEeprom.h"
#include "ctl/Source.h"
#include "eeprom/PosixEEpromHandler.h"

namespace {

using Bytes = std::vector<unsigned char>;

bool ParseSwitch(const std::string& text) {
  if (text != "on" && text != "off") throw Failure(ExitCode::InvalidArguments, "neither on nor off: " + text);
  return text == "on";
}

// The store on `image`, as Brindle opens it at its start.
PosixEEpromHandler OpenStore(Bytes& image) {
  return PosixEEpromHandler(std::make_unique<MemoryEeprom>(image));
}

}  // namespace

Changes ReadChanges(const Arguments& arguments, const Environment& environment) {
  constexpr unsigned long LargestRevision = 0xFFFF;
  Changes changes;
  std::array<std::string, 3> paths;
  for (const auto& [option, value] : arguments.options) {
    if (option == "revision") {
      changes.revision = static_cast<unsigned short>(ParseNumber(value, LargestRevision));
    } else if (option == "developer") {
      changes.developer = ParseSwitch(value);
    }
    if (option != "file") continue;
    const std::size_t equals = value.find('=');
    if (equals == std::string::npos) throw Failure(ExitCode::InvalidArguments, "not TYPE=PATH: " + value);
    std::string& path = paths.at(ParseFileType(value.substr(0, equals)));
    if (!path.empty()) throw Failure(ExitCode::InvalidArguments, "two files of one type: " + value);
    path = value.substr(equals + 1);
    if (path.empty()) throw Failure(ExitCode::InvalidArguments, "no path: " + value);
  }
  for (std::size_t file = 0; file < paths.size(); ++file) {
    if (!paths[file].empty()) changes.files[file] = ReadHostFile(paths[file], environment);
  }
  return changes;
}

std::vector<unsigned char> Apply(const Changes& changes, std::vector<unsigned char> base) {
  std::array<std::optional<Bytes>, 3> expected = changes.files;
  const EepromContent before = Inspect(base);
  for (std::size_t file = 0; file < expected.size(); ++file) {
    const FileContent& old = before.files[file];
    if (!expected[file] && old.state == FileState::Stored) expected[file] = old.data;
  }

  for (std::size_t file = 0; file < expected.size(); ++file) {
    if (!changes.files[file]) continue;
    const auto type = FileAllocationTable::Files.at(file);
    if (!OpenStore(base).Write(type, *changes.files[file])) {
      throw Failure(ExitCode::Failed, "no room for " + FileTitle(file));
    }
  }
  PosixEEpromHandler store = OpenStore(base);
  if (changes.revision) store.WordSet(EEPromHelper::BoardTypeSetAddress, *changes.revision);
  if (changes.developer) {
    store.DeveloperBoardSet(EEPromHelper::DeveloperByteSetAddress, *changes.developer ? "1" : "0");
  }

  const EepromContent after = Inspect(base);
  for (std::size_t file = 0; file < expected.size(); ++file) {
    if (!expected[file]) continue;
    if (after.files[file].state != FileState::Stored || after.files[file].data != *expected[file]) {
      throw Failure(ExitCode::Failed, FileTitle(file) + " could not be read back at Brindle's next start");
    }
  }
  return base;
}

std::vector<unsigned char> ErasedImage() {
  Bytes image(MemoryEeprom::Size, Eeprom::ErasedByte);
  return image;
}
