// The command that runs on the board.
//
// Signals that are meant for the session go to the command and never end the board, which has to outlive it:
// what the terminal sends reaches the command by itself, what a process sends to the board is passed on.
#pragma once

#include <sys/types.h>
#include <csignal>

#include <functional>

class CommandProcess final {
 public:
  // Blocks the signals in question from now on, also in threads that are started later.
  CommandProcess();
  CommandProcess(CommandProcess const&) = delete;
  CommandProcess& operator=(CommandProcess const&) = delete;

  // Kills a command that nobody has waited for.
  ~CommandProcess();

  // Starts `command` (looked up in PATH, ends with a null pointer) with the signals as the board found them;
  // `prepare` runs before it in its process. Where it can't be executed it says so and ends as BoardExit
  // tells. The calling process must have a single thread. Throws BoardError.
  void Start(char** command, std::function<void()> const& prepare);

  // Passes signals on until the command ends. Returns its exit code.
  [[nodiscard]] int Wait();

 private:
  sigset_t handled{};
  sigset_t before{};
  pid_t child = -1;
};
