// The process around the front end: its standard descriptors, its signals, and the executable itself.
#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <functional>
#include <string>

#include "cli/ProcessSetup.h"

namespace {

// Returns how a child that runs `body` ended, as waitpid reports it.
int StatusOf(std::function<int()> const& body) {
  const pid_t child = fork();
  if (child == 0) _exit(body());
  int status = -1;
  EXPECT_EQ(waitpid(child, &status, 0), child);
  return status;
}

int ExitCodeOf(std::function<int()> const& body) {
  const int status = StatusOf(body);
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

TEST(ProcessSetupTest, TurnsBrokenPipesAndFileLimitsIntoFailedWrites) {
  EXPECT_EQ(ExitCodeOf([] {
              PrepareProcess();
              int ends[2];
              if (pipe(ends) != 0 || close(ends[0]) != 0) return 1;
              if (write(ends[1], "x", 1) >= 0 || errno != EPIPE) return 2;
              const rlimit limit{0, 0};
              FILE* const file = tmpfile();
              if (file == nullptr || setrlimit(RLIMIT_FSIZE, &limit) != 0) return 3;
              return write(fileno(file), "x", 1) < 0 && errno == EFBIG ? 0 : 4;
            }),
            0);
}

// Runs the executable without arguments, with `output` as its standard output.
int StatusOfExecutable(int output) {
  return StatusOf([output] {
    if (output >= 0) {
      dup2(output, STDOUT_FILENO);
    } else {
      for (const int descriptor : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) close(descriptor);
    }
    execl(BRINDLE_EXECUTABLE, BRINDLE_EXECUTABLE, nullptr);
    return 127;
  });
}

TEST(ExecutableTest, EndsWithItsExitCodeWhateverItsOutputIs) {
  int ends[2];
  ASSERT_EQ(pipe2(ends, O_CLOEXEC), 0);
  EXPECT_EQ(StatusOfExecutable(ends[1]), 22 << 8);
  std::string text(4096, '\0');
  text.resize(static_cast<std::size_t>(read(ends[0], text.data(), text.size())));
  EXPECT_THAT(text,
              testing::StartsWith("Missing minimum required command line arguments. Exiting...\nReads or"));
  EXPECT_THAT(text, testing::EndsWith("first page of EEPROM data\n\n"));
  close(ends[0]);
  EXPECT_EQ(StatusOfExecutable(ends[1]), 22 << 8) << "nobody reads it";
  close(ends[1]);
  EXPECT_EQ(StatusOfExecutable(-1), 22 << 8) << "it is closed";
}

}  // namespace
