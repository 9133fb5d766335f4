#include "ctl/UpdateRun.h"

#include "ctl/Failure.h"
#include "ctl/Json.h"

namespace {

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
std::string AdviceAfterFailure(Chip& chip, const JournalFile& file) {
  try {
    const auto journal = file.Read();
    if (!journal || Updater(chip.Memory(), chip.Name().Text()).IsCutOff(*journal)) {
      return "\"" + file.Recover() + "\" finishes the update";
    }
    return "the chip has changed where nothing was to be written; \"" + file.Recover("--force") +
           "\" finishes the update all the same";
  } catch (const std::exception&) {
    return "\"" + file.Recover() + "\" finishes the update when the chip can be read again";
  }
}

}  // namespace

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

void UpdateOutcome::Print(const Arguments& arguments, const Environment& environment) const {
  if (arguments.Has("json")) {
    ::Print({{"changed", !pages.empty()},
             {"pages", pages.size()},
             {"pageRanges", Ranges(pages)},
             {"compared", isCompared},
             {"dryRun", isDryRun},
             {"seconds", seconds}},
            environment.output);
  } else if (pages.empty() && (isCompared || isDryRun)) {
    environment.output << "up to date\n";
  } else if (isDryRun) {
    environment.output << "would write " << pages.size() << " of " << PageCount << " pages in about "
                       << seconds << " s: " << Ranges(pages) << '\n';
  } else if (isCompared) {
    environment.output << "updated, " << pages.size() << " of " << PageCount << " pages written, compared\n";
  }
  environment.output << std::flush;
}

void PrintPlan(const Updater& updater, const Arguments& arguments, const Environment& environment) {
  UpdateOutcome plan = {.pages = WritingOrder(updater.Pending()), .isDryRun = true};
  plan.seconds = static_cast<double>(updater.Seconds(plan.pages.size()));
  plan.Print(arguments, environment);
}

ExitCode RunUpdate(Updater& updater, const Updater::Keep& keep, Chip& chip, const JournalFile& journal,
                   const Arguments& arguments, const Environment& environment) {
  UpdateOutcome outcome = {.pages = WritingOrder(updater.Pending()), .isCompared = true};
  bool isKept = !keep;  // by an earlier run
  Updater::Keep keepAndNote;
  if (keep) {
    keepAndNote = [&](const auto&... what) {
      keep(what...);
      isKept = true;
    };
  }
  try {
    updater.Run(keepAndNote, ShowProgress(updater, environment));
  } catch (const std::exception& failure) {
    if (!isKept || !journal.Exists()) throw;
    if (keep && updater.IsUntouched()) {
      journal.Remove();
      throw Failure(ExitCode::Failed, std::string(failure.what()) + "; nothing was written");
    }
    throw Failure(ExitCode::Failed, std::string(failure.what()) + "; the journal is kept, " +
                                        AdviceAfterFailure(chip, journal));
  }
  try {
    journal.Remove();
  } catch (const Failure& failure) {
    throw Failure(
        ExitCode::Failed,
        chip.Name().Text() + ": updated and compared, but the journal cannot be removed: " + failure.what());
  }
  outcome.seconds = updater.ElapsedSeconds();
  outcome.Print(arguments, environment);
  return ExitCode::Success;
}
