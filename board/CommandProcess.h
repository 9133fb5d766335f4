// The command that runs on the board.
//
// The board must outlive the command, so a signal that would end the board goes to the command instead: the
// terminal sends its signals to the command as well, and what a process sends to the board is passed on.
#pragma once

#include <sys/types.h>
#include <csignal>

#include <functional>

class CommandProcess final {
 public:
  // Blocks these signals, also for threads that are started later.
  CommandProcess();
  CommandProcess(const CommandProcess&) = delete;
  CommandProcess& operator=(const CommandProcess&) = delete;

  // Kills a command that nobody has waited for.
  ~CommandProcess();

  // Starts `command` (looked up in PATH, ends with a null pointer) with the signal mask that the board had,
  // after `prepare` has run in the new process. If it cannot be executed, that process prints why and ends
  // with a code of BoardExit. The calling process must have a single thread. Throws BoardError.
  void Start(char** command, const std::function<void()>& prepare);

  // Passes signals on until the command ends. Returns its exit code.
  [[nodiscard]] int Wait();

 private:
  sigset_t handled{};
  sigset_t before{};
  pid_t child = -1;
};
