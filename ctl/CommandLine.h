// The command line of brindlectl: finds the command, parses its options and runs it.
#pragma once

#include "ctl/Environment.h"

// Takes `argc` and `argv` as main receives them. Returns the exit code, which is 5 when the output stream
// does not take the results. Throws nothing.
int RunCommandLine(int argc, const char* const* argv, const Environment& environment);
