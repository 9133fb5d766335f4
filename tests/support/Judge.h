// Judges runs without faults, and what faults and power cuts leave.
#pragma once

#include "support/Rig.h"

// Runs `command` on a chip that holds `contents`. Returns what is wrong, or an empty string: the run must
// come to what the model says or, where the rules leave a choice, to what holds for every choice. The bus
// keeps its messages.
std::string RunAndJudge(Rig& rig, const Bytes& contents, const Command& command);

// Returns whether each byte is as before the command, as start-up leaves it, or as in `done`: then nothing is
// lost but what the command writes, wherever it was cut short.
bool HoldsNothingElse(const Rig& rig, const Bytes& contents, const Bytes& done);
