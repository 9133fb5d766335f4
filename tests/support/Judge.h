// Whether a run without a fault did what it must: what the model says, or, where the rules leave a choice,
// what holds for every choice.
#pragma once

#include "support/Rig.h"

// Runs `command` on a chip that holds `contents`. Returns what is wrong, empty when nothing is.
std::string RunAndJudge(Rig& rig, Bytes const& contents, Command const& command);

// The same for a run that has been made, with its messages recorded.
std::string Judge(Rig& rig, Bytes const& contents, Command const& command, Outcome const& outcome);
