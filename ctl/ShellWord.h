// Advice that works when it is pasted into a shell.
#pragma once

#include <string>

// Returns `text` as one word of a POSIX shell, quoted if it has to be.
[[nodiscard]] std::string ShellWord(const std::string& text);
