// A private mount namespace, and what the board mounts in it over the machine's directories.
//
// Only this process and its children see the changes, which end with the last of them.
#pragma once

#include <filesystem>
#include <functional>
#include <string>

namespace PrivateMounts {

// Moves the calling process, which must have a single thread, into a new mount namespace, and if it lacks the
// right to do that, into a new user namespace with the same user and group. Throws BoardError.
void Enter();

// Mounts a new directory over an existing one. The new one holds the old entries, except for those for which
// `drops` returns true. Throws BoardError.
void CoverKeeping(const std::filesystem::path& directory,
                  const std::function<bool(const std::string&)>& drops);

// Makes `directory` an empty directory, whether it exists or not. Mount namespaces that are made from this
// one as its slaves follow later mounts in it. Throws BoardError.
void MakeEmptyDirectory(const std::filesystem::path& directory);

}  // namespace PrivateMounts
