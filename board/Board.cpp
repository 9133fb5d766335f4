#include "board/Board.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <iostream>

#include "board/BoardError.h"
#include "board/BoardTree.h"
#include "board/PrivateMounts.h"

namespace {

constexpr unsigned int SecondAddress = 0x52;

// Opens the standard descriptors that are closed, so that no image gets their numbers and no error message
// goes into an EEPROM. For the command they stay closed.
void FillStandardDescriptors() {
  for (const int descriptor : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
    if (fcntl(descriptor, F_GETFD) < 0) static_cast<void>(open("/dev/null", O_RDWR | O_CLOEXEC));
  }
}

}  // namespace

int Board::Main(int count, char** arguments) try {
  FillStandardDescriptors();
  const BoardOptions options = BoardOptions::Parse(count, arguments);
  if (options.answer) {
    std::cout << options.answer << std::flush;
    return 0;
  }
  return Board(options).Run();
} catch (const BoardError& error) {
  std::cerr << "brindle-board: " << error.what() << std::endl;
  return static_cast<int>(error.Exit());
} catch (const std::exception& error) {
  std::cerr << "brindle-board: " << error.what() << std::endl;
  return static_cast<int>(BoardExit::Failed);
}

Board::Chip::Chip(const std::string& path, chip_kind kind, unsigned int address, const BoardOptions& options)
    : image(path, chip_model_size(kind)) {
  chip_model_init(&model, kind, image.Memory(), address);
  model.refusal = options.refusal;
  model.write_cycle = options.writeCycle;
}

Board::Board(const BoardOptions& options)
    : commandLine(options.command),
      claimed(options.claimed),
      trace(options.trace),
      eeprom(options.image, options.kind, options.address, options) {
  std::copy(options.faults.begin(), options.faults.end(), eeprom.model.faults);
  if (!options.secondImage.empty()) {
    if (chip_model_answers_at(&eeprom.model, SecondAddress) != 0) {
      throw BoardError("--second: the EEPROM itself answers at address 0x52; see --address");
    }
    second.emplace(options.secondImage, CHIP_CAT24C256, SecondAddress, options);
  }
  for (const BoardTree::Adapter& adapter : BoardTree::Adapters) {
    EmulatedBus bus(options.clock, options.refusal, trace);
    if (adapter.number == BoardTree::EepromBus) {
      bus.Attach(eeprom.model);
      if (second) bus.Attach(second->model);
    }
    adapters.emplace_back(adapter.number, std::move(bus), options.limits);
  }
}

int Board::Run() {
  PrivateMounts::Enter();
  BoardTree::Build(claimed);
  MountNodes();
  command.Start(commandLine, [this] {
    for (const auto& node : nodes) node->MakeOwnerKnown();
  });
  for (const auto& node : nodes) node->Start();
  const int exitCode = command.Wait();
  for (const auto& node : nodes) node->Stop();
  FinishTrace();
  return exitCode;
}

void Board::MountNodes() {
  for (I2CAdapter& adapter : adapters) {
    nodes.push_back(std::make_unique<FuseNode>(BoardTree::NodePath(adapter.Number()), adapter, trace, lock));
  }
}

void Board::FinishTrace() {
  trace.Chip(eeprom.model);
  if (second) trace.Chip(second->model);
  if (trace.HasFailed()) throw BoardError("the trace could not be written in full");
}
