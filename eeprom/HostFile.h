// Host files, read in full or not at all.
//
// Reading lets signals that are held through: a pipe may take for ever, and nothing has been written to the
// EEPROM for it yet.
#pragma once

#include <optional>
#include <string>
#include <vector>

namespace HostFile {

// A regular file, or a pipe or another file whose size cannot be measured. A pipe that brings nothing does
// not count as read: its writer has failed.
enum class Kind { Any, Measurable };

// The whole content of the file at `path`, up to `limit` bytes. No value when it cannot be opened, is not of
// the kind, cannot be read to its end, or is longer than `limit`; no more than one byte beyond that is read.
[[nodiscard]] std::optional<std::vector<unsigned char>> Read(std::string const& path, unsigned long limit,
                                                             Kind kind);

// Makes or empties the file at `path` and writes `length` bytes. Whether the operating system took them all;
// if not, the file may hold part of them.
[[nodiscard]] bool Write(std::string const& path, unsigned char const* data, unsigned long length);

}  // namespace HostFile
