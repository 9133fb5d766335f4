#include "board/CommandProcess.h"

#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <iostream>

#include "board/BoardError.h"

CommandProcess::CommandProcess() {
  sigemptyset(&handled);
  for (const int signal : {SIGCHLD, SIGHUP, SIGINT, SIGQUIT, SIGTERM, SIGUSR1, SIGUSR2}) {
    sigaddset(&handled, signal);
  }
  sigprocmask(SIG_BLOCK, &handled, &before);
}

CommandProcess::~CommandProcess() {
  if (child <= 0) return;
  kill(child, SIGKILL);
  waitpid(child, nullptr, 0);
}

void CommandProcess::Start(char** command, const std::function<void()>& prepare) {
  child = fork();
  if (child < 0) throw BoardError(std::string("fork: ") + std::strerror(errno));
  if (child > 0) return;
  prepare();
  sigprocmask(SIG_SETMASK, &before, nullptr);
  execvp(command[0], command);
  const int error = errno;
  std::cerr << "brindle-board: " << command[0] << ": " << std::strerror(error) << std::endl;
  _exit(static_cast<int>(error == ENOENT ? BoardExit::CommandNotFound : BoardExit::CannotExecute));
}

int CommandProcess::Wait() {
  int status = 0;
  while (waitpid(child, &status, WNOHANG) != child) {
    siginfo_t signal{};
    const int number = sigwaitinfo(&handled, &signal);
    // The kernel sends the terminal's signals to the command as well.
    if (number > 0 && number != SIGCHLD && signal.si_code <= 0) kill(child, number);
  }
  child = -1;
  return WIFSIGNALED(status) ? 128 + WTERMSIG(status) : WEXITSTATUS(status);
}
