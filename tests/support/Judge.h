// What must hold: of a run without a fault, and of what is left by any other.
#pragma once

#include "support/Rig.h"

// Runs `command` on a chip that holds `contents`. Returns what is wrong, empty when nothing is: the run comes
// to what the model says or, where the rules leave a choice, to what holds for every choice. The bus keeps
// its messages.
std::string RunAndJudge(Rig& rig, const Bytes& contents, const Command& command);

// Returns whether every byte of the chip is the one before a command, the one that its start-up leaves or the
// one after it, `done`: so that nothing is lost but what the command writes, wherever it was cut short.
bool HoldsNothingElse(const Rig& rig, const Bytes& contents, const Bytes& done);
