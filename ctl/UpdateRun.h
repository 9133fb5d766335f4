// What update and recover share: the run of a prepared updater, and how its outcome is told.
#pragma once

#include <string>
#include <vector>

#include "ctl/Arguments.h"
#include "ctl/Chip.h"
#include "ctl/Environment.h"
#include "ctl/JournalFile.h"
#include "ctl/Updater.h"
#include "platform/ExitCode.h"

// Returns page numbers as ranges, "1-5, 64, 0".
[[nodiscard]] std::string Ranges(const std::vector<std::size_t>& pages);

// What came, or would come, of an update; as JSON, an object that the manual describes.
struct UpdateOutcome {
  std::vector<std::size_t> pages;  // that were, or would be, written, in this order
  bool isCompared = false;         // whether the whole chip was read and holds what it is to hold
  bool isDryRun = false;
  double seconds = 0;  // that it took, or would take

  // Prints it as JSON if the option "json" is given. There is no text for an update that had nothing to
  // finish.
  void Print(const Arguments& arguments, const Environment& environment) const;
};

// Prints what a prepared updater would do.
void PrintPlan(const Updater& updater, const Arguments& arguments, const Environment& environment);

// Runs the updater, removes the journal if there is one, and prints the outcome. `keep` is empty if the
// journal is there already. Throws Failure (5) with what to do next when it fails.
ExitCode RunUpdate(Updater& updater, const Updater::Keep& keep, Chip& chip, const JournalFile& journal,
                   const Arguments& arguments, const Environment& environment);
