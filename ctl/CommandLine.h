// The command line of brindlectl: finds the command, parses its options and runs it.
#pragma once

#include "ctl/Command.h"

// `argc` and `argv` as main receives them. Returns the exit code; throws nothing. Results that the output
// stream does not take make the exit code 5.
int RunCommandLine(int argc, const char* const* argv, const Environment& environment);
