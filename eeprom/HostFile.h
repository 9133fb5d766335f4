// Host files, read in full or not at all.
//
// While a file is read, signals that are held can end the process: a pipe may take for ever, and nothing has
// been written to the EEPROM yet.
#pragma once

#include <optional>
#include <span>
#include <string>
#include <vector>

namespace HostFile {

// Any: also a pipe or another file whose size cannot be measured. A pipe that delivers no data does not count
// as read: its writer has failed.
enum class Kind { Any, Measurable };

// Returns the whole content of the file at `path`, up to `limit` bytes. Returns no value when it cannot be
// opened, is not of the kind, cannot be read to its end, or is longer than `limit`; at most one byte beyond
// that is read. A file whose content does not have the file's size, as many have in sysfs and proc, does not
// count as read.
[[nodiscard]] std::optional<std::vector<unsigned char>> Read(const std::string& path, unsigned long limit,
                                                             Kind kind);

// Creates or truncates the file at `path` and writes `data`. Returns whether the operating system took all of
// it; if not, the file may hold a part.
[[nodiscard]] bool Write(const std::string& path, std::span<const unsigned char> data);

}  // namespace HostFile
