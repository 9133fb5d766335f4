// Host files, with the reason when one cannot be read or written.
#pragma once

#include <cstddef>
#include <span>
#include <string>
#include <vector>

// Returns the content of the file at `path`; a larger one is cut after `limit` bytes. `flags` are more flags
// for open(2). Throws Failure (5) when it cannot be read.
[[nodiscard]] std::vector<unsigned char> ReadBytes(const std::string& path, std::size_t limit, int flags = 0);

// Creates or truncates the file at `path` and writes `data`. Throws Failure (5); the file may then hold a
// part.
void WriteBytes(const std::string& path, std::span<const unsigned char> data);

// Writes all of `data` to the descriptor. Returns false when that fails, with the reason in errno.
[[nodiscard]] bool WriteFully(int fd, std::span<const unsigned char> data);

// Throws Failure (5) with what the last system call says of the file at `path`.
[[noreturn]] void FailAt(const std::string& path);
