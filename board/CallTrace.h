// Writes a line for every call on a node and every message on a bus to a file; the format is in the help
// text.
//
// A line is in the file when the call is answered. One thread at a time.
#pragma once

#include <sys/types.h>

#include <cstdint>
#include <span>
#include <string>

#include "board/Descriptor.h"
#include "chip/chip_model.h"

class CallTrace final {
 public:
  // An empty path makes a trace that writes nothing. Throws BoardError when the file can't be opened.
  explicit CallTrace(std::string const& path);

  // A call begins: the lines up to End tell of it.
  void Begin(pid_t pid, unsigned int bus, std::uint64_t open);
  void End(std::string const& call, long result);

  // A message of the call: `data` is what was to be sent, or what was received.
  void Message(bool read, unsigned int address, std::size_t length, std::span<unsigned char const> data,
               int result);

  void Chip(chip_model const& chip);

  [[nodiscard]] bool IsOn() const { return file.Get() >= 0; }

  // Whether a line could not be written; the trace is not complete then.
  [[nodiscard]] bool HasFailed() const { return failed; }

 private:
  void Write(std::string const& line);

  Descriptor file;
  bool failed = false;
  std::string caller;
  std::string beginTime;
};
