#include "platform/ProcessSetup.h"

#include <fcntl.h>
#include <unistd.h>

#include <csignal>

void PrepareProcess() {
  int fd = open("/dev/null", O_RDWR);
  while (fd >= 0 && fd <= STDERR_FILENO) fd = dup(fd);
  if (fd > STDERR_FILENO) close(fd);
  std::signal(SIGPIPE, SIG_IGN);
  std::signal(SIGXFSZ, SIG_IGN);
}
