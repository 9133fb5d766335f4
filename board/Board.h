// The emulated board as a program: serves the nodes while the command runs.
#pragma once

#include <list>
#include <map>
#include <mutex>
#include <optional>
#include <set>
#include <string>
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
  void MountDriverFiles();
  // Mounts a file of the driver to which the name of one of its devices is written, to bind or unbind it.
  void MountControl(const std::string& driver, const char* name, const std::set<std::string>& devices,
                    bool binds);

  void MountEeprom(const std::string& device, I2CAdapter& adapter, const chip_model& chip);
  void FinishTrace();

  char** commandLine;
  std::set<unsigned int> claimed;
  std::map<unsigned int, std::size_t> driverPages;
  CallTrace trace;
  Chip eeprom;
  std::optional<Chip> second;
  std::vector<I2CAdapter> adapters;
  std::mutex lock;  // guards the chips, the adapters and the trace while nodes are served
  std::list<FuseNode> nodes;
  CommandProcess command;
};
