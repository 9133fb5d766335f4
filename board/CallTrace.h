// Writes a line for every call on a node and every message on a bus to a file, as the help text describes.
//
// A line is in the file before the call is answered. One thread at a time.
#pragma once

#include <sys/types.h>

#include <cstdint>
#include <span>
#include <string>

#include "board/Descriptor.h"
#include "chip/chip_model.h"

class CallTrace final {
 public:
  // With an empty path nothing is written. Throws BoardError if the file cannot be opened.
  explicit CallTrace(const std::string& path);

  // Starts a call, to which the messages up to End belong.
  void Begin(pid_t pid, const std::string& bus, std::uint64_t open);
  void End(const std::string& call, long result);

  // Writes a line for a message: `data` is what was to be sent, or what was received.
  void Message(bool read, unsigned int address, std::size_t length, std::span<const unsigned char> data,
               int result);

  // Writes the chip's counts.
  void Chip(const chip_model& chip);

  // Returns whether a line could not be written, so that the trace is incomplete.
  [[nodiscard]] bool HasFailed() const { return failed; }

 private:
  [[nodiscard]] bool IsOn() const { return file.Get() >= 0; }
  void Write(const std::string& line);

  Descriptor file;
  bool failed = false;
  std::string caller;
  std::string beginTime;
};
