// Runs a command and prints what it took: microseconds from start to end, microseconds of processor time,
// peak resident memory in KiB, context switches (voluntary and not), exit code.
//
// Usage: bench-measure COMMAND [ARGUMENT]...      The command's standard output is dropped.
//
// Linked statically: a process starts its life in its parent's memory, and the peak counts that too.
#include <fcntl.h>
#include <spawn.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <ctime>

namespace {

long Microseconds(timeval const& time) {
  return time.tv_sec * 1'000'000 + time.tv_usec;
}

long Now() {
  timespec time{};
  clock_gettime(CLOCK_MONOTONIC, &time);
  return time.tv_sec * 1'000'000 + time.tv_nsec / 1000;
}

}  // namespace

int main(int argc, char* argv[]) {
  if (argc < 2) return 2;
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_addopen(&actions, STDOUT_FILENO, "/dev/null", O_WRONLY, 0);

  pid_t child = 0;
  const long start = Now();
  if (posix_spawnp(&child, argv[1], &actions, nullptr, argv + 1, environ) != 0) return 127;
  int status = 0;
  rusage usage{};
  if (wait4(child, &status, 0, &usage) != child) return 1;
  const long taken = Now() - start;

  std::printf("%ld %ld %ld %ld %d\n", taken, Microseconds(usage.ru_utime) + Microseconds(usage.ru_stime),
              usage.ru_maxrss, usage.ru_nvcsw + usage.ru_nivcsw,
              WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status));
  return 0;
}
