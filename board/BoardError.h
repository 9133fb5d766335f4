// How brindle-board itself ends, as opposed to the command it runs.
#pragma once

#include <stdexcept>
#include <string>

// Exit codes of the program's own; any other is the command's (128 + signal when a signal ended it).
enum class BoardExit : int {
  NotPossibleHere = 123,  // this machine lacks /dev/fuse or refuses the namespace
  Failed = 125,           // bad use, an image that can't be used, a trace that can't be written
  CannotExecute = 126,    // the command was found but can't be executed
  CommandNotFound = 127
};

// A failure of the board itself; the message is one line for the user.
class BoardError final : public std::runtime_error {
 public:
  explicit BoardError(std::string const& message, BoardExit exitCode = BoardExit::Failed)
      : std::runtime_error(message), exit(exitCode) {}

  [[nodiscard]] BoardExit Exit() const { return exit; }

 private:
  BoardExit exit;
};
