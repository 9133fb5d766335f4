// How brindle-board itself fails, as opposed to the command that it runs.
#pragma once

#include <stdexcept>
#include <string>

// The exit codes of brindle-board itself; any other is the command's (128 + N if signal N ended it).
enum class BoardExit : int {
  NotPossibleHere = 123,  // this machine lacks /dev/fuse or refuses the namespace
  Failed = 125,           // wrong options, an image that cannot be used, a trace that cannot be written
  CannotExecute = 126,    // the command was found but cannot be executed
  CommandNotFound = 127
};

// A failure of the board itself. The message is one line for the user.
class BoardError final : public std::runtime_error {
 public:
  explicit BoardError(const std::string& message, BoardExit exitCode = BoardExit::Failed)
      : std::runtime_error(message), exit(exitCode) {}

  [[nodiscard]] BoardExit Exit() const { return exit; }

 private:
  BoardExit exit;
};
