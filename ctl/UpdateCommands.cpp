#include <algorithm>

#include "ctl/Changes.h"
#include "ctl/Commands.h"
#include "ctl/EepromContent.h"
#include "ctl/Source.h"
#include "ctl/Updater.h"
#include "eeprom/EEPromHelper.h"
#include "platform/SignalHold.h"

namespace {

using Bytes = std::vector<unsigned char>;

void CheckOptions(const Arguments& arguments) {
  const bool changes = arguments.Has("file") || arguments.Has("revision") || arguments.Has("developer");
  const bool image = !arguments.operands.empty();
  const auto refuse = [](const char* what) { throw Failure(ExitCode::InvalidArguments, what); };
  if (image == changes) refuse("either an image or changes (--file, --revision, --developer)");
  if (arguments.Has("keep-settings") && !image) refuse("--keep-settings needs an image");
  if (arguments.Has("journal") && arguments.Has("no-journal")) refuse("either --journal or --no-journal");
}

// The image to store, empty when changes are asked for. Throws Failure (1) when it has problems.
Bytes ReadNewImage(const Arguments& arguments, const Environment& environment) {
  if (arguments.operands.empty()) return {};
  const std::string& path = arguments.operands.front();
  Bytes image = ReadHostFile(path, environment);
  const EepromContent content = Inspect(image);
  for (const Problem& problem : content.problems) PrintMessage(environment, path + ": " + problem.text);
  if (!content.problems.empty() && !arguments.Has("force")) {
    const char* const advice = content.developerByte ? "; --force stores it all the same" : "";
    throw Failure(ExitCode::Found, path + ": not stored" + advice);
  }
  if (!content.developerByte) throw Failure(ExitCode::Failed, path + ": not stored");
  return image;
}

// The content that the chip is to have.
Bytes Target(const Bytes& image, const Changes& changes, const Bytes& content, bool keepsSettings) {
  if (image.empty()) return Apply(changes, content);
  constexpr std::ptrdiff_t SettingsSize = EEPromHelper::FileAllocationTableEntryOffset;
  Bytes target = image;
  if (keepsSettings) std::copy_n(content.begin(), SettingsSize, target.begin());
  return target;
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

void PrintPlan(const Updater& updater, const std::vector<std::size_t>& pages, std::ostream& output) {
  if (pages.empty()) {
    output << "up to date\n";
  } else {
    output << "would write " << pages.size() << " of " << Updater::Pages << " pages in about "
           << updater.Seconds(pages.size()) << " s: " << Ranges(pages) << '\n';
  }
}

// A journal that is not whole is of no chip.
bool IsOfAnotherChip(const JournalFile& file, unsigned short slave) try {
  const auto journal = file.Read();
  return journal && journal->slave != slave;
} catch (const Failure&) {
  return false;
}

JournalFile JournalOf(const Arguments& arguments) {
  return JournalFile(arguments.Value("journal").value_or(JournalFile::DefaultFolder));
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

// Updates the chip to the target, and then removes the journal if there is one.
ExitCode Finish(Updater& updater, const Bytes& target, const JournalFile& journal,
                const Environment& environment) {
  const std::size_t pages = DifferingPages(updater.Content(), target).size();
  try {
    updater.Run(target, ShowProgress(updater, environment));
  } catch (const Failure& failure) {
    if (!journal.Exists()) throw;
    throw Failure(failure.exitCode, std::string(failure.what()) +
                                        "; \"brindlectl recover\" finishes the update by its journal " +
                                        journal.Path());
  }
  journal.Remove();
  if (pages == 0) {
    environment.output << "up to date" << std::endl;
  } else {
    environment.output << "updated, " << pages << " of " << Updater::Pages << " pages written, compared"
                       << std::endl;
  }
  return ExitCode::Success;
}

}  // namespace

ExitCode Update(const Arguments& arguments, const Environment& environment) {
  CheckOptions(arguments);
  const Bytes image = ReadNewImage(arguments, environment);
  const Changes changes = ReadChanges(arguments, environment);
  const JournalFile journal = JournalOf(arguments);

  const SignalHold hold;
  const auto chip = OpenBoard(arguments, environment);
  if (journal.Exists() && (!arguments.Has("force") || IsOfAnotherChip(journal, ChipAddress(arguments)))) {
    throw Failure(ExitCode::Failed, journal.Path() + ": an update was cut off; recover first");
  }
  Updater updater(*chip);
  if (image.empty() || arguments.Has("keep-settings")) updater.ConfirmContent();
  const Bytes target = Target(image, changes, updater.Content(), arguments.Has("keep-settings"));
  const std::vector<std::size_t> pages = DifferingPages(updater.Content(), target);
  if (arguments.Has("dry-run")) {
    PrintPlan(updater, pages, environment.output);
    return ExitCode::Success;
  }
  if (arguments.Has("no-journal")) {
    journal.Remove();  // one that is overridden would undo this update
  } else if (!pages.empty()) {
    journal.Write({ChipAddress(arguments), updater.Content(), target});
  }
  return Finish(updater, target, journal, environment);
}

ExitCode Recover(const Arguments& arguments, const Environment& environment) {
  const JournalFile file = JournalOf(arguments);
  if (!file.Read()) return ExitCode::Success;

  const SignalHold hold;
  auto bus = environment.getBus();
  // Once more: while this process waited for the board, the update may have come to its end.
  const auto journal = file.Read();
  if (!journal) return ExitCode::Success;
  const auto chip = OpenChip(std::move(bus), journal->slave);
  Updater updater(*chip);
  if (!updater.IsCutOff(*journal) && !arguments.Has("force")) {
    throw Failure(ExitCode::Failed, "board: changed since the update was cut off; " + file.Path() +
                                        " stays, --force applies it all the same");
  }
  return Finish(updater, journal->target, file, environment);
}
