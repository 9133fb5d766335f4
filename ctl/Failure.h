// How a command of brindlectl fails.
#pragma once

#include <stdexcept>
#include <string>

#include "platform/ExitCode.h"

// Ends a command with `exitCode` and a message; the message names what failed and why.
class Failure final : public std::runtime_error {
 public:
  Failure(ExitCode code, const std::string& message) : std::runtime_error(message), exitCode(code) {}

  const ExitCode exitCode;
};
