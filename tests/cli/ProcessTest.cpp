// The standard descriptors of the process around the front end.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <functional>

#include "platform/ProcessSetup.h"

namespace {

// Returns the exit code of a child that runs `body`, -1 when a signal ended it.
int ExitCodeOf(std::function<int()> const& body) {
  const pid_t child = fork();
  if (child == 0) _exit(body());
  int status = -1;
  EXPECT_EQ(waitpid(child, &status, 0), child);
  return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

bool IsNull(int descriptor) {
  struct stat opened {};
  struct stat null {};
  return fstat(descriptor, &opened) == 0 && stat("/dev/null", &null) == 0 && opened.st_rdev == null.st_rdev &&
         S_ISCHR(opened.st_mode);
}

int LowestFree() {
  const int descriptor = dup(STDERR_FILENO);
  close(descriptor);
  return descriptor;
}

TEST(ProcessSetupTest, OpensClosedStandardDescriptorsOnNullAndNoOthers) {
  for (unsigned int closed = 0; closed < 8; ++closed) {
    EXPECT_EQ(ExitCodeOf([closed] {
                const int free = LowestFree();
                const int file = open("/", O_RDONLY);
                for (int descriptor = 0; descriptor < 3; ++descriptor) {
                  dup2(file, descriptor);
                  if ((closed >> descriptor & 1) != 0) close(descriptor);
                }
                close(file);
                PrepareProcess();
                for (int descriptor = 0; descriptor < 3; ++descriptor) {
                  if (IsNull(descriptor) != ((closed >> descriptor & 1) != 0)) return 1 + descriptor;
                }
                return LowestFree() == free ? 0 : 4;
              }),
              0)
        << closed;
  }
}

}  // namespace
