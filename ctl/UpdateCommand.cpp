#include <algorithm>
#include <optional>

#include "content/Confirmation.h"
#include "content/EepromContent.h"
#include "content/Hexadecimal.h"
#include "ctl/ChangeOptions.h"
#include "ctl/Commands.h"
#include "ctl/Failure.h"
#include "ctl/Source.h"
#include "ctl/UpdateRun.h"
#include "eeprom/EEPromHelper.h"
#include "platform/SignalHold.h"

namespace {

using Bytes = std::vector<unsigned char>;

void CheckOptions(const Arguments& arguments) {
  const bool image = !arguments.operands.empty();
  const auto refuse = [](const char* what) { throw Failure(ExitCode::InvalidArguments, what); };
  if (image == HasChanges(arguments)) {
    refuse("either an image or changes (--file, --remove, --revision, --developer)");
  }
  if (arguments.Has("keep-settings") && !image) refuse("--keep-settings needs an image");
  if (arguments.Has("journal") && arguments.Has("no-journal")) refuse("either --journal or --no-journal");
}

// Prints what is wrong with a content that is to be stored. Throws Failure (1) when anything is, unless the
// option "force" is given.
void RefuseFindings(const EepromContent& content, const std::string& name, const Arguments& arguments,
                    const Environment& environment) {
  for (const Finding& finding : content.findings) PrintMessage(environment, name + ": " + finding.text);
  if (content.findings.empty() || arguments.Has("force")) return;
  throw Failure(ExitCode::Found, name + ": not stored; --force stores it all the same");
}

// The image to store, empty when changes are asked for.
Bytes ReadNewImage(const Arguments& arguments, const Environment& environment) {
  if (arguments.operands.empty()) return {};
  const std::string& path = arguments.operands.front();
  Bytes image = ReadHostFile(path, environment);
  const EepromContent content = Examine(image);
  if (image.size() != EepromSize) {
    throw Failure(arguments.Has("force") ? ExitCode::Failed : ExitCode::Found,
                  path + ": " + content.findings.front().text + ": not stored");
  }
  RefuseFindings(content, path, arguments, environment);
  return image;
}

// The image, with the chip's own settings if they are to be kept.
Target ImageTarget(const Bytes& image, const Bytes& before, bool keepsSettings) {
  constexpr std::ptrdiff_t SettingsSize = EEPromHelper::FileAllocationTableEntryOffset;
  Target target = {image, PageSet().set()};
  if (keepsSettings) std::copy_n(before.begin(), SettingsSize, target.content.begin());
  return target;
}

// Prepares the update to an image, or by changes to what the chip holds.
void PrepareUpdate(Updater& updater, const Bytes& image, const Changes& changes, const std::string& chip,
                   const Arguments& arguments, const Environment& environment) {
  if (!image.empty()) {
    const bool keepsSettings = arguments.Has("keep-settings");
    if (keepsSettings) updater.Before().Confirm(PagesOf(0, PageSize));
    updater.Prepare([=](const Bytes& before) { return ImageTarget(image, before, keepsSettings); });
    return;
  }
  ConfirmContent(updater.Before());
  const EepromContent before = Examine(updater.Before());
  updater.Prepare([=](const Bytes& content) { return Apply(changes, content); });
  const EepromContent after = Examine(updater.NewTarget().content);
  if (after.findings.empty()) {
    for (const Finding& finding : before.findings) PrintMessage(environment, chip + ": " + finding.text);
  }
  RefuseFindings(after, chip, arguments, environment);
}

void WarnOfVolatileFolder(const JournalFile& journal, const Environment& environment) {
  if (!journal.IsVolatile()) return;
  PrintMessage(environment, "warning: " + journal.Folder() +
                                " is kept in memory, so a power cut takes the journal with it");
}

// Throws Failure (5) when there is a journal that stands in the way of an update of the chip.
void RefuseJournal(const JournalFile& file, const ChipName& chip, bool isDiscarded) {
  const auto journal = isDiscarded ? file.ReadIfWhole() : file.Read();
  if (!journal) return;
  if (!isDiscarded) {
    throw Failure(ExitCode::Failed, file.Path() + ": an update was cut off; \"" + file.Recover() +
                                        "\" finishes it, --discard throws its journal away");
  }
  if (ChipName::Parse(journal->chip, journal->slave).IsSameAs(chip)) return;
  throw Failure(ExitCode::Failed, file.Path() + ": an update of another chip, " + journal->chip + " at " +
                                      Hex(journal->slave, 2) + ", was cut off; \"" + file.Recover() +
                                      "\" finishes it, \"" + file.Recover("--discard") +
                                      "\" throws its journal away");
}

}  // namespace

ExitCode Update(const Arguments& arguments, const Environment& environment) {
  CheckOptions(arguments);
  const ChipName name = ChipName::Of(arguments);
  const Bytes image = ReadNewImage(arguments, environment);
  const Changes changes = ReadChanges(arguments, environment);
  const JournalFile file = JournalFile::Of(arguments);
  const bool isDryRun = arguments.Has("dry-run");

  const SignalHold hold;
  Chip chip(name, isDryRun ? Chip::Use::Read : Chip::Use::Write, environment);
  RefuseJournal(file, name, arguments.Has("discard"));
  Updater updater(chip.Memory(), name.Text());
  PrepareUpdate(updater, image, changes, name.Text(), arguments, environment);
  if (isDryRun) {
    PrintPlan(updater, arguments, environment);
    return ExitCode::Success;
  }
  const bool keepsJournal = !arguments.Has("no-journal");
  if (!keepsJournal) file.Remove();  // one that is thrown away would undo this update
  if (keepsJournal && updater.Pending().any()) WarnOfVolatileFolder(file, environment);
  if (keepsJournal && !image.empty() && updater.Pending().any()) updater.ConfirmUniformPages();
  const Updater::Keep keep = [&](const Bytes& old, const Target& target, const PageSet& pages) {
    if (!keepsJournal) return;
    const bool isWhole = target.pages.all();
    file.Write({name.Lasting(), name.slave, isWhole ? target.pages : pages, old, target.content});
  };
  return RunUpdate(updater, keep, chip, file, arguments, environment);
}
