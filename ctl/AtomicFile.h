// Host files that appear under their names only when they are complete, also after a power cut.
#pragma once

#include <span>
#include <string>

// Replaces the file at `path`, or creates it: writes `data` into a file beside it, flushes that to the disk,
// renames it and flushes the folder. Follows symbolic links, keeps the mode of an existing file, and refuses
// anything but regular files and links to them. Throws Failure (5); the file is then as it was, unless only
// the folder could not be flushed. Signals that ask the process to end wait until it is done.
void WriteAtomically(const std::string& path, std::span<const unsigned char> data);

// The temporary file is named after the target, with this suffix and six random characters; a killed process
// leaves it behind.
inline constexpr char TemporarySuffix[] = ".brindlectl-";

// Removes the file at `path` and flushes its folder. Throws Failure (5).
void RemoveDurably(const std::string& path);
