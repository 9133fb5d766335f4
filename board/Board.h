// The emulated board as a program: serves the nodes while the command runs.
#pragma once

#include <memory>
#include <mutex>
#include <optional>
#include <set>
#include <vector>

#include "board/BoardOptions.h"
#include "board/CallTrace.h"
#include "board/CommandProcess.h"
#include "board/FuseNode.h"
#include "board/I2CAdapter.h"
#include "board/ImageFile.h"
#include "chip/chip_model.h"

class Board final {
 public:
  // Runs the program: prints help and errors, returns the exit code.
  static int Main(int count, char** arguments);

  // Opens the images and the trace. Throws BoardError.
  explicit Board(const BoardOptions& options);
  Board(const Board&) = delete;
  Board& operator=(const Board&) = delete;

  // Runs the command, once. Returns its exit code. Throws BoardError.
  int Run();

 private:
  struct Chip {
    Chip(const std::string& path, chip_kind kind, unsigned int address, const BoardOptions& options);

    ImageFile image;
    chip_model model{};
  };

  void MountNodes();
  void FinishTrace();

  char** commandLine;
  std::set<unsigned int> claimed;
  CallTrace trace;
  Chip eeprom;
  std::optional<Chip> second;
  std::vector<I2CAdapter> adapters;
  std::mutex lock;  // guards the chips, the adapters and the trace while nodes are served
  std::vector<std::unique_ptr<FuseNode>> nodes;
  CommandProcess command;
};
