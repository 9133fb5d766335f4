// A mount namespace of the board's own, and what is laid over the machine's directories in it.
//
// Everything here changes only what this process and its children see, and is gone with the last of them.
#pragma once

#include <filesystem>
#include <functional>
#include <string>

namespace PrivateMounts {

// Moves the calling process, which must have a single thread, into a new mount namespace; without the right
// to do that, into a new user namespace too, in which its user and group stay what they are. Throws
// BoardError.
void Enter();

// Lays a new directory over an existing one that holds the old entries again, but for those `drops` names.
// Throws BoardError.
void CoverKeeping(std::filesystem::path const& directory,
                  std::function<bool(std::string const&)> const& drops);

// Makes `directory` an empty one, whether it exists or not. Throws BoardError.
void MakeEmptyDirectory(std::filesystem::path const& directory);

}  // namespace PrivateMounts
