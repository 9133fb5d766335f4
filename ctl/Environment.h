// What a command of brindlectl may use besides its arguments.
#pragma once

#include <functional>
#include <istream>
#include <memory>
#include <ostream>
#include <string>

#include "eeprom/BoardBus.h"
#include "platform/DirectoryLock.h"

inline constexpr char ProgramName[] = "brindlectl";

// How the board is reached.
struct Board {
  // Reserves the board for this process as long as the pointer lives; waits up to so many milliseconds for
  // another process that has it, and then returns null.
  std::function<std::shared_ptr<DirectoryLock>(unsigned int timeout)> reserve;
  BusSource findBus;  // without a reservation
};

// Borrows the streams.
struct Environment {
  std::istream& input;
  std::ostream& output;    // results
  std::ostream& messages;  // everything else, each line prefixed by the program's name
  Board board;
  bool onTerminal = false;  // whether the messages go to a terminal, which is shown progress
};

// Prints one line: the program's name and `message`.
void PrintMessage(const Environment& environment, const std::string& message);
