#include <algorithm>
#include <chrono>
#include <optional>
#include <thread>

#include "ctl/Commands.h"
#include "ctl/Failure.h"
#include "ctl/UpdateRun.h"
#include "platform/SignalHold.h"

namespace {

using Bytes = std::vector<unsigned char>;

// An update that was cut off, and its chip.
struct CutOffUpdate {
  Journal journal;
  Chip chip;
};

// Returns the chip of the journal. Throws Failure (5) when the option "chip" names another one.
ChipName NameOfChip(const Journal& journal, const JournalFile& file, const Arguments& arguments) {
  ChipName name = ChipName::Parse(journal.chip, journal.slave);
  if (!arguments.Has("chip") || ChipName::Of(arguments).IsSameAs(name)) return name;
  throw Failure(ExitCode::Failed, file.Path() + ": is of another chip, " + journal.chip);
}

// Reads the journal only when the board is reserved: until then, the update may come to its end.
std::optional<CutOffUpdate> FindCutOffUpdate(const JournalFile& file, const Arguments& arguments,
                                             const Environment& environment) {
  const auto reservation = ReserveBoard(environment);
  auto journal = file.Read();
  if (!journal) return std::nullopt;
  const auto use = arguments.Has("dry-run") ? Chip::Use::Read : Chip::Use::Write;
  Chip chip(NameOfChip(*journal, file, arguments), use, environment);
  return CutOffUpdate{std::move(*journal), std::move(chip)};
}

// As FindCutOffUpdate, but waits up to `seconds` for a chip that does not answer yet.
std::optional<CutOffUpdate> AwaitCutOffUpdate(const JournalFile& file, unsigned long seconds,
                                              const Arguments& arguments, const Environment& environment) {
  constexpr std::chrono::milliseconds Pause(200);
  const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(seconds);
  while (true) {
    try {
      return FindCutOffUpdate(file, arguments, environment);
    } catch (const Failure& failure) {
      const bool isOver = std::chrono::steady_clock::now() >= end;
      if (failure.exitCode != ExitCode::NotAccessible || isOver) throw;
    }
    const SignalWindow window;
    std::this_thread::sleep_for(Pause);
  }
}

// Says what is lost with the journal, and removes it.
ExitCode Discard(const JournalFile& file, const Arguments& arguments, const Environment& environment) {
  const auto reservation = ReserveBoard(environment);
  const auto journal = file.ReadIfWhole();
  std::string lost = "a journal that was not whole";
  if (journal) {
    const ChipName chip = NameOfChip(*journal, file, arguments);
    const std::size_t pages = (DifferingPages(journal->old, journal->target) & journal->pages).count();
    lost = "the journal of an update of " + chip.Text() + ": of its " + std::to_string(pages) +
           " pages, some may be written and some not";
  }
  file.Remove();
  environment.output << "discarded " << lost << '\n';
  return ExitCode::Success;
}

// The target of the journal; what a write that was led astray has damaged beside it is as before.
Target JournalTarget(const Journal& journal, const PageSet& stray, const Bytes& before) {
  Target target = {before, journal.pages | stray};
  CopyPages(journal.pages, journal.target, target.content);
  CopyPages(stray, journal.old, target.content);
  return target;
}

// Throws Failure (5) when something was stored since the update was cut off.
void RefuseForeignPages(Updater& updater, const Journal& journal, const JournalFile& file) {
  if (updater.IsCutOff(journal)) return;
  throw Failure(ExitCode::Failed,
                journal.chip + ": changed since the update was cut off, on page " +
                    Ranges(WritingOrder(updater.ForeignPages(journal) | updater.StrayPages(journal))) +
                    "; \"" + file.Recover("--force") + "\" finishes the update all the same, \"" +
                    file.Recover("--discard") + "\" keeps the chip as it is");
}

}  // namespace

ExitCode Recover(const Arguments& arguments, const Environment& environment) {
  constexpr unsigned long LongestWait = 86400;  // s
  const unsigned long wait = ParseNumber(arguments.Value("wait").value_or("0"), LongestWait);
  if (arguments.Has("discard") && (arguments.Has("force") || arguments.Has("dry-run"))) {
    throw Failure(ExitCode::InvalidArguments, "--discard goes without --force and --dry-run");
  }
  (void)ChipName::Of(arguments);  // is refused also when there is nothing to recover
  const JournalFile file = JournalFile::Of(arguments);
  if (arguments.Has("journal") && !file.HasFolder()) {
    throw Failure(ExitCode::Failed, file.Folder() + ": no such folder");
  }
  const auto endWithNothingToDo = [&] {
    UpdateOutcome().Print(arguments, environment);
    return ExitCode::Success;
  };
  if (!file.Exists()) return endWithNothingToDo();

  const SignalHold hold;
  if (arguments.Has("discard")) return Discard(file, arguments, environment);
  auto cutOff = AwaitCutOffUpdate(file, wait, arguments, environment);
  if (!cutOff) return endWithNothingToDo();
  const Journal& journal = cutOff->journal;
  Updater updater(cutOff->chip.Memory(), cutOff->chip.Name().Text());
  if (!arguments.Has("force")) RefuseForeignPages(updater, journal, file);
  const PageSet stray = updater.StrayPages(journal);
  updater.Prepare([&](const Bytes& before) { return JournalTarget(journal, stray, before); });
  if (arguments.Has("dry-run")) {
    PrintPlan(updater, arguments, environment);
    return ExitCode::Success;
  }
  return RunUpdate(updater, {}, cutOff->chip, file, arguments, environment);
}
