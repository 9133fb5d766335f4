#include "ctl/JournalFile.h"

#include <fcntl.h>
#include <linux/magic.h>
#include <sys/statfs.h>

#include <filesystem>
#include <utility>

#include "ctl/AtomicFile.h"
#include "ctl/Failure.h"
#include "ctl/HostBytes.h"
#include "ctl/ShellWord.h"

namespace {

namespace fs = std::filesystem;

}  // namespace

JournalFile::JournalFile(std::string folderPath)
    : folder(std::move(folderPath)), path((fs::path(folder) / "journal").string()) {}

JournalFile JournalFile::Of(const Arguments& arguments) {
  return JournalFile(arguments.Value("journal").value_or(DefaultFolder));
}

bool JournalFile::IsVolatile() const {
  struct statfs status {};
  if (statfs(folder.c_str(), &status) != 0) return false;
  const auto type = static_cast<unsigned int>(status.f_type);
  return type == TMPFS_MAGIC || type == RAMFS_MAGIC;
}

bool JournalFile::HasFolder() const {
  std::error_code error;
  return fs::is_directory(folder, error);
}

bool JournalFile::Exists() const {
  std::error_code error;
  const fs::file_type type = fs::symlink_status(path, error).type();
  if (type == fs::file_type::none) throw Failure(ExitCode::Failed, path + ": " + error.message());
  return type != fs::file_type::not_found;
}

std::optional<Journal> JournalFile::Read() const {
  auto journal = ReadIfWhole();
  if (!journal && Exists()) {
    throw Failure(ExitCode::Failed, path + ": not a whole journal of a version that this program knows; \"" +
                                        Recover("--discard") + "\" throws it away");
  }
  return journal;
}

std::optional<Journal> JournalFile::ReadIfWhole() const {
  if (!Exists()) return std::nullopt;
  std::error_code error;
  if (fs::symlink_status(path, error).type() != fs::file_type::regular) {
    throw Failure(ExitCode::Failed, path + ": not a regular file, so it is no journal");
  }
  const auto bytes = ReadBytes(path, Journal::LargestSize + 1, O_NOFOLLOW | O_NONBLOCK);
  if (!Journal::Begins(bytes)) {
    throw Failure(ExitCode::Failed, path + ": not a journal of brindlectl; move it out of the way, or name " +
                                        "another folder with --journal");
  }
  return Journal::Decode(bytes);
}

void JournalFile::Write(const Journal& journal) const {
  std::error_code error;
  const fs::file_type type = fs::symlink_status(path, error).type();
  const bool replaces = type == fs::file_type::regular;
  if (!replaces && type != fs::file_type::not_found && type != fs::file_type::none) {
    throw Failure(ExitCode::Failed, path + ": not a regular file, so no journal is kept there");
  }
  if (!HasFolder()) {
    throw Failure(ExitCode::Failed, folder + ": no folder for the journal; \"mkdir -p " + ShellWord(folder) +
                                        "\" makes it, --journal names another one");
  }
  RemoveLeftovers();
  try {
    WriteAtomically(path, journal.Encode());
  } catch (const Failure&) {
    if (!replaces) fs::remove(path, error);
    throw;
  }
}

// What a process that was killed while it wrote a journal has left beside it.
void JournalFile::RemoveLeftovers() const {
  std::error_code error;
  for (const auto& entry : fs::directory_iterator(folder, error)) {
    if (entry.path().string().starts_with(path + TemporarySuffix)) fs::remove(entry.path(), error);
  }
}

void JournalFile::Remove() const {
  if (Exists()) RemoveDurably(path);
}

std::string JournalFile::Recover(const std::string& options) const {
  std::string line = "brindlectl recover";
  if (!options.empty()) line += " " + options;
  if (folder != DefaultFolder) line += " --journal=" + ShellWord(folder);
  return line;
}
