#include "ctl/ChangeOptions.h"

#include "ctl/Failure.h"
#include "ctl/Source.h"
#include "eeprom/EEPromHelper.h"

namespace {

bool ParseSwitch(const std::string& text) {
  if (text != "on" && text != "off") throw Failure(ExitCode::InvalidArguments, "neither on nor off: " + text);
  return text == "on";
}

// 0xFFFF is what an erased revision reads as.
unsigned short ParseRevision(const std::string& text) {
  constexpr unsigned long Largest = EEPromHelper::FreshEEPromValue - 1;
  return static_cast<unsigned short>(ParseNumber(text, Largest));
}

// What is asked for each file: the path of its new data, or its removal.
struct FileChange {
  std::string path;
  bool isRemoved = false;

  [[nodiscard]] bool IsAsked() const { return isRemoved || !path.empty(); }
};

using FileChanges = std::array<FileChange, 3>;

FileChange& NewChange(FileChanges& changes, const std::string& type, const std::string& value) {
  FileChange& change = changes.at(ParseFileType(type));
  if (change.IsAsked()) throw Failure(ExitCode::InvalidArguments, "two changes to one file: " + value);
  return change;
}

void AddFile(FileChanges& changes, const std::string& value) {
  const std::size_t equals = value.find('=');
  if (equals == std::string::npos) throw Failure(ExitCode::InvalidArguments, "not TYPE=PATH: " + value);
  FileChange& change = NewChange(changes, value.substr(0, equals), value);
  change.path = value.substr(equals + 1);
  if (change.path.empty()) throw Failure(ExitCode::InvalidArguments, "no path: " + value);
}

}  // namespace

bool HasChanges(const Arguments& arguments) {
  return arguments.Has("file") || arguments.Has("remove") || arguments.Has("revision") ||
         arguments.Has("developer");
}

Changes ReadChanges(const Arguments& arguments, const Environment& environment) {
  Changes changes;
  FileChanges files;
  for (const auto& [option, value] : arguments.options) {
    if (option == "revision") changes.revision = ParseRevision(value);
    if (option == "developer") changes.developer = ParseSwitch(value);
    if (option == "remove") NewChange(files, value, value).isRemoved = true;
    if (option == "file") AddFile(files, value);
  }
  for (std::size_t file = 0; file < files.size(); ++file) {
    changes.removed.at(file) = files.at(file).isRemoved;
    if (!files.at(file).path.empty()) changes.files.at(file) = ReadHostFile(files.at(file).path, environment);
  }
  return changes;
}
