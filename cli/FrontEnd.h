// The command line: checks the arguments, runs one operation of the file store, prints how it ended.
//
// Exit codes: 0 success, 5 the operation failed (EIO), 19 no EEPROM could be reached (ENODEV), 22 missing or
// invalid arguments (EINVAL). Nothing throws out of it as long as the exceptions of `output` are off, as
// those of std::cout are; a failing output stream changes neither the operation nor the exit code.
//
// From before the bus is obtained until the result line is out, the signals that ask the process to end are
// held: they act when the operation has finished. They act at once while the process waits for the board,
// while a host file is read, and while an operation only reads the EEPROM.
#pragma once

#include <ostream>

#include "eeprom/BoardBus.h"

// Takes `argc` and `argv` as main receives them. Calls `getBus` at most once, and only when the arguments are
// in order. Returns the exit code.
int FrontEnd(int argc, const char* const* argv, std::ostream& output, const BusSource& getBus);
