// brindlectl in this process, on emulated chips. The rig's folder is the working folder.
#pragma once

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "platform/DirectoryLock.h"
#include "support/Rig.h"

struct CtlRig : Rig {
  CtlRig();

  // Runs words that single spaces separate; `results` and `messages` are then what was printed. Returns the
  // exit code.
  int Ctl(const std::string& line, const Bytes& standardInput = {});

  // Runs the first command line of brindlectl that the messages quote. Returns -1 when they quote none.
  int TakeAdvice();

  [[nodiscard]] bool Says(const std::string& text) const;  // in results or messages

  void File(const std::string& name, const Bytes& content) const;

  std::string results, messages;
  bool isTerminal = false;  // whether the messages go to one

  // Called when a command reserves the board, with the milliseconds that it would wait.
  std::function<std::shared_ptr<DirectoryLock>(unsigned int timeout)> reserve;
};

Bytes Content(const std::string& path);

// Returns the names of the files in the working folder, in order, each followed by a space.
std::string FileNames();

// Returns what these commands make of an EEPROM, by the model.
Bytes Then(Bytes memory, const std::vector<Command>& commands);

// Returns the bytes, of which those from `address` on are replaced.
Bytes Changed(Bytes bytes, std::size_t address, const Bytes& replacement);
