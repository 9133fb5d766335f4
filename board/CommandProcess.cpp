#include "board/CommandProcess.h"

#include <sys/signalfd.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <iostream>

#include "board/BoardError.h"

CommandProcess::CommandProcess() {
  sigset_t handled;
  sigemptyset(&handled);
  for (int const signal : {SIGCHLD, SIGHUP, SIGINT, SIGQUIT, SIGTERM, SIGUSR1, SIGUSR2})
    sigaddset(&handled, signal);
  sigprocmask(SIG_BLOCK, &handled, &before);
  signals = Descriptor(signalfd(-1, &handled, SFD_CLOEXEC | SFD_NONBLOCK));
  if (signals.Get() < 0) throw BoardError(std::string("signalfd: ") + std::strerror(errno));
}

void CommandProcess::Start(char** command, std::function<void()> const& prepare) {
  child = fork();
  if (child < 0) throw BoardError(std::string("fork: ") + std::strerror(errno));
  if (child > 0) return;
  prepare();
  sigprocmask(SIG_SETMASK, &before, nullptr);
  execvp(command[0], command);
  int const error = errno;
  std::cerr << "brindle-board: " << command[0] << ": " << std::strerror(error) << std::endl;
  _exit(static_cast<int>(error == ENOENT ? BoardExit::CommandNotFound : BoardExit::CannotExecute));
}

void CommandProcess::HandleSignal() {
  signalfd_siginfo signal{};
  if (read(signals.Get(), &signal, sizeof signal) != static_cast<ssize_t>(sizeof signal)) return;
  if (signal.ssi_signo == SIGCHLD)
    Collect();
  else if (signal.ssi_pid != 0 && !exitCode)  // 0: from the terminal, which sends it to the command as well
    kill(child, static_cast<int>(signal.ssi_signo));
}

void CommandProcess::Collect() {
  int status = 0;
  if (waitpid(child, &status, WNOHANG) != child) return;
  exitCode = WIFSIGNALED(status) ? 128 + WTERMSIG(status) : WEXITSTATUS(status);
}
