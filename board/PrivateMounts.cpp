#include "board/PrivateMounts.h"

#include <fcntl.h>
#include <sched.h>
#include <sys/mount.h>
#include <unistd.h>

#include <cerrno>
#include <climits>
#include <cstring>
#include <fstream>
#include <vector>

#include "board/BoardError.h"
#include "board/Descriptor.h"

namespace fs = std::filesystem;

namespace {

[[noreturn]] void ThrowRefused(const std::string& what) {
  const std::string reason = std::strerror(errno);
  throw BoardError(
      what + " is refused (" + reason +
          "): run as root, or allow user namespaces ('sysctl kernel.unprivileged_userns_clone=1'; "
          "for a container '--privileged')",
      BoardExit::NotPossibleHere);
}

void WriteMap(const char* file, const std::string& text) {
  std::ofstream stream(file);
  stream << text << std::flush;
  if (!stream) ThrowRefused(std::string("writing ") + file);
}

void EnterUserNamespace() {
  const std::string user = std::to_string(getuid());
  const std::string group = std::to_string(getgid());
  if (unshare(CLONE_NEWUSER | CLONE_NEWNS) != 0) ThrowRefused("a private mount namespace");
  WriteMap("/proc/self/setgroups", "deny");
  WriteMap("/proc/self/uid_map", user + " " + user + " 1");
  WriteMap("/proc/self/gid_map", group + " " + group + " 1");
}

// Returns whether the root of the mount namespace could be made private with all that is mounted below it.
// After chroot(2) that root is above "/", so it is entered for the call: a process may go up from a directory
// that is not below its own root.
bool MakePrivateFromTrueRoot() {
  const Descriptor root(open("/", O_PATH | O_DIRECTORY | O_CLOEXEC));
  const Descriptor here(open(".", O_PATH | O_DIRECTORY | O_CLOEXEC));
  if (chroot("/proc") != 0 || fchdir(root.Get()) != 0) return false;
  for (int depth = 0; depth < PATH_MAX / 2; ++depth) {
    if (chdir("..") != 0) return false;
  }
  return chroot(".") == 0 && mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr) == 0 &&
         fchdir(root.Get()) == 0 && chroot(".") == 0 && fchdir(here.Get()) == 0;
}

void MountEmpty(const fs::path& directory) {
  if (mount("brindle-board", directory.c_str(), "tmpfs", MS_NOSUID, "mode=755") != 0) {
    ThrowRefused("mounting on " + directory.string());
  }
}

void MakeFile(const fs::path& path) {
  const Descriptor file(open(path.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0666));
  if (file.Get() < 0) throw BoardError(path.string() + ": " + std::strerror(errno));
}

// Binds a file or directory to a new one of its kind; copies a link.
void Restore(const fs::path& old, const fs::path& place) {
  const fs::file_status status = fs::symlink_status(old);
  if (fs::is_symlink(status)) {
    fs::create_symlink(fs::read_symlink(old), place);
    return;
  }
  if (!fs::exists(status)) return;
  if (fs::is_directory(status)) {
    fs::create_directory(place);
  } else {
    MakeFile(place);
  }
  if (mount(old.c_str(), place.c_str(), nullptr, MS_BIND | MS_REC, nullptr) != 0) {
    ThrowRefused("binding " + place.string());
  }
}

bool DropsNothing(const std::string& /*name*/) {
  return false;
}

}  // namespace

void PrivateMounts::Enter() {
  if (unshare(CLONE_NEWNS) != 0) EnterUserNamespace();
  if (mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr) == 0) return;
  if (errno != EINVAL || !MakePrivateFromTrueRoot()) ThrowRefused("a private mount tree");
}

void PrivateMounts::CoverKeeping(const fs::path& directory,
                                 const std::function<bool(const std::string&)>& drops) try {
  std::vector<std::string> names;
  for (const fs::directory_entry& entry : fs::directory_iterator(directory)) {
    if (const std::string name = entry.path().filename(); !drops(name)) names.push_back(name);
  }

  // The descriptor keeps the old directory within reach once it is covered.
  const Descriptor old(open(directory.c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC));
  if (old.Get() < 0) throw BoardError(directory.string() + ": " + std::strerror(errno));
  const fs::path oldPath = "/proc/self/fd/" + std::to_string(old.Get());
  MountEmpty(directory);
  for (const std::string& name : names) Restore(oldPath / name, directory / name);
} catch (const fs::filesystem_error& error) {
  throw BoardError(error.what());
}

void PrivateMounts::MakeEmptyDirectory(const fs::path& directory) {
  std::error_code error;
  fs::path existing = directory;
  while (!fs::is_directory(existing, error)) existing = existing.parent_path();
  if (existing != directory) CoverKeeping(existing, DropsNothing);
  fs::create_directories(directory, error);
  if (error) throw BoardError(directory.string() + ": " + error.message());
  MountEmpty(directory);
  if (mount(nullptr, directory.c_str(), nullptr, MS_SHARED, nullptr) != 0) ThrowRefused("sharing a mount");
}
