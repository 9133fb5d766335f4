#include <chrono>
#include <optional>
#include <thread>

#include "content/Confirmation.h"
#include "content/EepromContent.h"
#include "content/Hexadecimal.h"
#include "ctl/ChangeOptions.h"
#include "ctl/Commands.h"
#include "ctl/Failure.h"
#include "ctl/JournalFile.h"
#include "ctl/Source.h"
#include "ctl/Updater.h"
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
void PrepareUpdate(Updater& updater, const Bytes& image, const Changes& changes, const Arguments& arguments,
                   const Environment& environment) {
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
    for (const Finding& finding : before.findings) PrintMessage(environment, "board: " + finding.text);
  }
  RefuseFindings(after, "board", arguments, environment);
}

// "1-5, 64, 0"
std::string Ranges(const std::vector<std::size_t>& pages) {
  std::string text;
  for (std::size_t i = 0; i < pages.size();) {
    const std::size_t first = i++;
    while (i < pages.size() && pages[i] == pages[i - 1] + 1) ++i;
    text += (first == 0 ? "" : ", ") + std::to_string(pages[first]);
    if (i - first > 1) text += "-" + std::to_string(pages[i - 1]);
  }
  return text;
}

void PrintPlan(const Updater& updater, std::ostream& output) {
  const std::vector<std::size_t> pages = WritingOrder(updater.Pending());
  if (pages.empty()) {
    output << "up to date\n";
  } else {
    output << "would write " << pages.size() << " of " << PageCount << " pages in about "
           << updater.Seconds(pages.size()) << " s: " << Ranges(pages) << '\n';
  }
}

// On a terminal, shows the progress of the writing in one line, which is cleared at the end.
Updater::Progress ShowProgress(const Updater& updater, const Environment& environment) {
  if (!environment.onTerminal) return [](std::size_t, std::size_t) {};
  return [&](std::size_t written, std::size_t pages) {
    const std::size_t percent = 100 * written / pages;
    if (percent == 100 * (written - 1) / pages) return;  // a serial console takes milliseconds for a line
    environment.messages << "\r\033[K";
    if (written < pages) {
      environment.messages << ProgramName << ": " << written << " of " << pages << " pages, " << percent
                           << " %, " << updater.Seconds(pages - written) << " s left";
    }
    environment.messages << std::flush;
  };
}

// Returns what to do about an update that failed with the power on.
std::string AdviceAfterFailure(Eeprom& chip, const JournalFile& file) {
  try {
    const auto journal = file.Read();
    if (!journal || Updater(chip, "board").IsCutOff(*journal)) {
      return "\"" + file.Recover() + "\" finishes the update";
    }
    return "the chip has changed where nothing was to be written; \"" + file.Recover("--force") +
           "\" finishes the update all the same";
  } catch (const std::exception&) {
    return "\"" + file.Recover() + "\" finishes the update when the chip can be read again";
  }
}

// Updates the chip, and then removes the journal if there is one.
ExitCode Finish(Updater& updater, const Updater::Keep& keep, Chip& chip, const JournalFile& journal,
                const Environment& environment) {
  const std::size_t pages = updater.Pending().count();
  try {
    updater.Run(keep, ShowProgress(updater, environment));
  } catch (const std::exception& failure) {
    if (!journal.Exists()) throw;
    throw Failure(ExitCode::Failed, std::string(failure.what()) + "; the journal is kept, " +
                                        AdviceAfterFailure(chip.Memory(), journal));
  }
  try {
    journal.Remove();
  } catch (const Failure& failure) {
    throw Failure(
        ExitCode::Failed,
        std::string("board: updated and compared, but its journal cannot be removed: ") + failure.what());
  }
  if (pages == 0) {
    environment.output << "up to date" << std::endl;
  } else {
    environment.output << "updated, " << pages << " of " << PageCount << " pages written, compared"
                       << std::endl;
  }
  return ExitCode::Success;
}

void WarnOfVolatileFolder(const JournalFile& journal, const Environment& environment) {
  if (!journal.IsVolatile()) return;
  PrintMessage(environment, "warning: " + journal.Folder() +
                                " is kept in memory, so a power cut takes the journal with it");
}

// An update that was cut off, and its chip.
struct CutOffUpdate {
  Journal journal;
  Chip chip;
};

// Reads the journal only when the board is reserved: until then, the update may come to its end.
std::optional<CutOffUpdate> FindCutOffUpdate(const JournalFile& file, const Environment& environment) {
  const auto reservation = ReserveBoard(environment);
  auto journal = file.Read();
  if (!journal) return std::nullopt;
  Chip chip(journal->slave, environment);
  return CutOffUpdate{std::move(*journal), std::move(chip)};
}

// As FindCutOffUpdate, but waits up to `seconds` for a chip that does not answer yet.
std::optional<CutOffUpdate> AwaitCutOffUpdate(const JournalFile& file, unsigned long seconds,
                                              const Environment& environment) {
  constexpr std::chrono::milliseconds Pause(200);
  const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(seconds);
  while (true) {
    try {
      return FindCutOffUpdate(file, environment);
    } catch (const Failure& failure) {
      const bool isOver = std::chrono::steady_clock::now() >= end;
      if (failure.exitCode != ExitCode::NotAccessible || isOver) throw;
    }
    const SignalWindow window;
    std::this_thread::sleep_for(Pause);
  }
}

// Throws Failure (5) when there is a journal that stands in the way of an update of the chip at `slave`.
void RefuseJournal(const JournalFile& file, unsigned short slave, bool isDiscarded) {
  if (!file.Exists()) return;
  if (!isDiscarded) {
    throw Failure(ExitCode::Failed, file.Path() + ": an update was cut off; \"" + file.Recover() +
                                        "\" finishes it, --discard throws its journal away");
  }
  std::optional<Journal> journal;
  try {
    journal = file.Read();
  } catch (const Failure&) {
    return;  // of no chip
  }
  if (!journal || journal->slave == slave) return;
  throw Failure(ExitCode::Failed, file.Path() + ": an update of the other chip, at " +
                                      Hex(journal->slave, 2) + ", was cut off; \"" + file.Recover() +
                                      "\" finishes it, \"" + file.Recover("--discard") +
                                      "\" throws its journal away");
}

// Says what is lost with the journal, and removes it.
ExitCode Discard(const JournalFile& file, const Environment& environment) {
  const auto reservation = ReserveBoard(environment);
  try {
    if (const auto journal = file.Read()) {
      environment.output << "discarded the journal of an update of the chip at " << Hex(journal->slave, 2)
                         << ": of its " << DifferingPages(journal->old, journal->target).count()
                         << " pages, some may be written and some not\n";
    }
  } catch (const Failure& failure) {
    environment.output << "discarded what was no whole journal: " << failure.what() << '\n';
  }
  file.Remove();
  return ExitCode::Success;
}

Target JournalTarget(const Journal& journal, const Bytes& before) {
  Target target = {before, journal.pages};
  for (const PageRun& run : RunsOf(journal.pages)) {
    const auto offset = static_cast<std::ptrdiff_t>(run.first * PageSize);
    std::copy_n(journal.target.begin() + offset, run.count * PageSize, target.content.begin() + offset);
  }
  return target;
}

// Throws Failure (5) when something was stored since the update was cut off.
void RefuseForeignPages(Updater& updater, const Journal& journal, const JournalFile& file) {
  if (updater.IsCutOff(journal)) return;
  throw Failure(ExitCode::Failed, "board: changed since the update was cut off, on page " +
                                      Ranges(WritingOrder(updater.ForeignPages(journal))) + "; \"" +
                                      file.Recover("--force") + "\" finishes the update all the same, \"" +
                                      file.Recover("--discard") + "\" keeps the chip as it is");
}

}  // namespace

ExitCode Update(const Arguments& arguments, const Environment& environment) {
  CheckOptions(arguments);
  const Bytes image = ReadNewImage(arguments, environment);
  const Changes changes = ReadChanges(arguments, environment);
  const JournalFile file = JournalFile::Of(arguments);
  const unsigned short slave = ChipAddress(arguments);

  const SignalHold hold;
  Chip chip(slave, environment);
  RefuseJournal(file, slave, arguments.Has("discard"));
  Updater updater(chip.Memory(), chip.Name());
  PrepareUpdate(updater, image, changes, arguments, environment);
  if (arguments.Has("dry-run")) {
    PrintPlan(updater, environment.output);
    return ExitCode::Success;
  }
  const bool keepsJournal = !arguments.Has("no-journal");
  if (!keepsJournal) file.Remove();  // one that is thrown away would undo this update
  if (keepsJournal && updater.Pending().any()) WarnOfVolatileFolder(file, environment);
  const Updater::Keep keep = [&](const Bytes& before, const Target& target, const PageSet& pages) {
    if (!keepsJournal) return;
    file.Write({"board", slave, target.pages.all() ? target.pages : pages, before, target.content});
  };
  return Finish(updater, keep, chip, file, environment);
}

ExitCode Recover(const Arguments& arguments, const Environment& environment) {
  constexpr unsigned long LongestWait = 86400;  // s
  const unsigned long wait = ParseNumber(arguments.Value("wait").value_or("0"), LongestWait);
  const bool isContradictory =
      arguments.Has("discard") && (arguments.Has("force") || arguments.Has("dry-run"));
  if (isContradictory) throw Failure(ExitCode::InvalidArguments, "--discard goes alone");
  const JournalFile file = JournalFile::Of(arguments);
  if (arguments.Has("journal") && !file.HasFolder()) {
    throw Failure(ExitCode::Failed, file.Folder() + ": no such folder");
  }
  if (!file.Exists()) return ExitCode::Success;

  const SignalHold hold;
  if (arguments.Has("discard")) return Discard(file, environment);
  auto cutOff = AwaitCutOffUpdate(file, wait, environment);
  if (!cutOff) return ExitCode::Success;
  const Journal& journal = cutOff->journal;
  Updater updater(cutOff->chip.Memory(), cutOff->chip.Name());
  if (!arguments.Has("force")) RefuseForeignPages(updater, journal, file);
  updater.Prepare([&](const Bytes& before) { return JournalTarget(journal, before); });
  if (arguments.Has("dry-run")) {
    PrintPlan(updater, environment.output);
    return ExitCode::Success;
  }
  const auto keepAsItIs = [](const Bytes&, const Target&, const PageSet&) {};
  return Finish(updater, keepAsItIs, cutOff->chip, file, environment);
}
