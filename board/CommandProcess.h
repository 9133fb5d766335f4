// The command that runs on the board.
//
// Signals that are meant for the session go to the command and never end the board, which has to outlive it:
// what the terminal sends reaches the command by itself, what a process sends to the board is passed on.
#ifndef BOARD_COMMAND_PROCESS_H
#define BOARD_COMMAND_PROCESS_H

#include <sys/types.h>
#include <csignal>

#include <functional>
#include <optional>

#include "board/Descriptor.h"

class CommandProcess final {
 public:
  // Blocks the signals in question from now on. Throws BoardError.
  CommandProcess();
  CommandProcess(CommandProcess const&) = delete;
  CommandProcess& operator=(CommandProcess const&) = delete;

  // Starts `command` (looked up in PATH, ends with a null pointer) with the signals as the board found them;
  // `prepare` runs before it in its process. Where it can't be executed it says so and ends as BoardExit
  // tells. Throws BoardError.
  void Start(char** command, std::function<void()> const& prepare);

  // Readable when there is a signal to handle.
  [[nodiscard]] int SignalDescriptor() const { return signals.Get(); }
  void HandleSignal();

  // None while the command runs.
  [[nodiscard]] std::optional<int> ExitCode() const { return exitCode; }

 private:
  void Collect();

  sigset_t before{};
  Descriptor signals;
  pid_t child = -1;
  std::optional<int> exitCode;
};

#endif
