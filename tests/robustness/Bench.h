// Runs whole commands in this process: the front end with its arguments, on a bus over the modelled chip,
// under the virtual clock. Host files lie in a directory of their own that goes with the bench.
//
// One bench and one run at a time in a process.
#pragma once

#include <filesystem>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "chip/EmulatedChip.h"
#include "robustness/StoreModel.h"
#include "support/ModelBus.h"

struct Outcome {
  int exit = 0;
  std::optional<Bytes> host = {};  // the host file that the run made
  std::string output = {};

  // Whether the run ended in one of the ways in which a command with good arguments may end.
  [[nodiscard]] bool IsOrderly() const;
};

class Bench {
 public:
  enum class Bus { Direct, Queued };

  explicit Bench(Bus busKind = Bus::Direct);
  ~Bench();
  Bench(Bench const&) = delete;
  Bench& operator=(Bench const&) = delete;

  // A chip that has just got power, with these contents, without faults, its counts at 0.
  void Load(Bytes const& contents);
  // Power returns to the chip as it is.
  void PowerOn();

  Outcome Run(Command const& command);
  // Any arguments; `made` is the file whose content is returned.
  Outcome Run(std::vector<std::string> const& arguments, std::filesystem::path const& made);

  chip_model& Chip() { return chip.Model(); }
  [[nodiscard]] std::span<unsigned char const> Span() const { return chip.Memory(); }
  [[nodiscard]] Bytes Memory() const { return {chip.Memory().begin(), chip.Memory().end()}; }
  [[nodiscard]] bool Holds(Bytes const& contents) const;
  EmulatedChip& Emulated() { return chip; }
  ModelWire& Wire() { return wire; }
  [[nodiscard]] std::filesystem::path const& Directory() const { return directory; }
  // Makes `content` the content of the host file that commands read.
  std::filesystem::path const& HostFile(Bytes const& content);

 private:
  std::vector<std::string> Arguments(Command const& command);

  Bus bus;
  EmulatedChip chip;
  ModelWire wire;
  std::filesystem::path directory;
  std::filesystem::path input;
  std::filesystem::path output;
  std::optional<Bytes> inputContent;
};
