// Emulated chips on a bus, a virtual clock, and whole commands that run on them in this process, one at a
// time. Host files are in a temporary directory that is removed with the rig.
#pragma once

#include <memory>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "support/ChipBus.h"
#include "support/StoreModel.h"
#include "support/TempDirectory.h"
#include "support/VirtualClock.h"

struct Outcome {
  int exit = 0;
  std::optional<Bytes> host = {};  // the host file that the run made
  std::string output = {};

  // Returns whether the run ended in one of the ways in which a command with good arguments may end.
  [[nodiscard]] bool IsOrderly() const;
};

struct Rig {
  // The bus makes up to `attempts` attempts at a transfer.
  explicit Rig(unsigned int attempts = ChipBus::MaxAttempts, chip_kind kind = CHIP_CAT24C256,
               unsigned short slave = 0x56);

  // A chip that has just got power, with these contents, without faults, its counts at 0. From now on
  // messages take time, so that a chip that was left busy answers again.
  void Load(const Bytes& contents);
  // Power returns to the chip as it is.
  void PowerOn();

  // Runs words after the program's name, or a command with the host files `input` and `output`.
  Outcome Run(const std::vector<std::string>& words);
  Outcome Run(const Command& command);
  // Makes `content` the content of `input`.
  const std::string& HostFile(const Bytes& content);

  [[nodiscard]] Bytes Memory() const { return {chip.Memory().begin(), chip.Memory().end()}; }
  [[nodiscard]] bool Holds(const Bytes& contents) const;
  // Returns whether the run's outcome and the chip are as expected.
  [[nodiscard]] bool CameTo(const Expectation& expected, const Outcome& outcome) const;

  EmulatedChip chip;
  EmulatedChip goldcrest{CHIP_CAT24C256, 0x52};
  std::shared_ptr<ChipBus> bus;
  TempDirectory host;
  std::string input = host / "in";
  std::string output = host / "out";

 private:
  std::optional<Bytes> inputContent;
};
