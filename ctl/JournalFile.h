// The file of an update's journal, which is there while the update is under way or was cut off.
#pragma once

#include <optional>
#include <string>

#include "ctl/Arguments.h"
#include "ctl/Journal.h"

class JournalFile final {
 public:
  // Part of the installation.
  static constexpr char DefaultFolder[] = BRINDLE_STATE_DIR;

  explicit JournalFile(std::string folderPath = DefaultFolder);

  // Returns that in the folder that the option "journal" names, or else the default one.
  [[nodiscard]] static JournalFile Of(const Arguments& arguments);

  [[nodiscard]] const std::string& Path() const { return path; }
  [[nodiscard]] const std::string& Folder() const { return folder; }

  // Returns whether the folder is one that loses its content with the power: a tmpfs or a ramfs (statfs(2)).
  [[nodiscard]] bool IsVolatile() const;
  [[nodiscard]] bool HasFolder() const;

  // Returns whether the file exists, whatever it holds. Throws Failure (5) when its folder cannot be
  // searched.
  [[nodiscard]] bool Exists() const;

  // Returns no value when there is no file. Throws Failure (5) when it cannot be read or is no whole journal.
  [[nodiscard]] std::optional<Journal> Read() const;

  // As Read, but returns no value also for a journal that is not whole. Throws Failure (5) for a file that
  // does not even begin as a journal does, so that no other file is taken for one.
  [[nodiscard]] std::optional<Journal> ReadIfWhole() const;

  // The change is on the disk when these return. Write replaces an older journal in one step; Remove succeeds
  // without a file. They throw Failure (5), Write also when the path is no regular file; a failed Write
  // leaves an older journal as it was, and none where there was none.
  void Write(const Journal& journal) const;
  void Remove() const;

  // Returns a command line for this journal, for a shell: "brindlectl recover" and the options.
  [[nodiscard]] std::string Recover(const std::string& options = "") const;

 private:
  void RemoveLeftovers() const;

  std::string folder;
  std::string path;
};
