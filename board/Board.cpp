#include "board/Board.h"

#include <poll.h>

#include <algorithm>
#include <iostream>

#include "board/BoardError.h"
#include "board/BoardTree.h"
#include "board/PrivateMounts.h"

namespace {

constexpr unsigned int SecondAddress = 0x52;

}  // namespace

int Board::Main(int count, char** arguments) try {
  BoardOptions const options = BoardOptions::Parse(count, arguments);
  if (options.help) {
    std::cout << BoardOptions::HelpText() << std::flush;
    return 0;
  }
  return Board(options).Run();
} catch (BoardError const& error) {
  std::cerr << "brindle-board: " << error.what() << std::endl;
  return static_cast<int>(error.Exit());
} catch (std::exception const& error) {
  std::cerr << "brindle-board: " << error.what() << std::endl;
  return static_cast<int>(BoardExit::Failed);
}

Board::Chip::Chip(std::string const& path, chip_kind kind, unsigned int address, BoardOptions const& options)
    : image(path, chip_model_size(kind)) {
  chip_model_init(&model, kind, image.Memory(), address);
  model.refusal = options.refusal;
  model.write_cycle = options.writeCycle;
}

Board::Board(BoardOptions const& options)
    : commandLine(options.command),
      trace(options.trace),
      eeprom(options.image, options.kind, options.address, options) {
  std::copy(options.faults.begin(), options.faults.end(), eeprom.model.faults);
  if (!options.secondImage.empty()) {
    if (chip_model_answers_at(&eeprom.model, SecondAddress) != 0)
      throw BoardError("--second: the EEPROM itself answers at address 0x52; see --address");
    second.emplace(options.secondImage, CHIP_CAT24C256, SecondAddress, options);
  }
  for (BoardTree::Adapter const& adapter : BoardTree::Adapters) {
    EmulatedBus bus(options.clock, options.refusal, trace);
    if (adapter.number == BoardTree::EepromBus) {
      bus.Attach(eeprom.model);
      if (second) bus.Attach(second->model);
    }
    adapters.emplace_back(adapter.number, std::move(bus), options.claimed);
  }
}

int Board::Run() {
  PrivateMounts::Enter();
  BoardTree::Build();
  MountNodes();
  command.Start(commandLine, [this] {
    for (auto const& node : nodes) node->MakeOwnerKnown();
  });
  while (!command.ExitCode()) ServeOnce(-1);
  Finish();
  return *command.ExitCode();
}

void Board::MountNodes() {
  for (I2CAdapter& adapter : adapters)
    nodes.push_back(std::make_unique<FuseNode>(BoardTree::NodePath(adapter.Number()), adapter, trace));
}

// Waits for `timeout` milliseconds (-1: for ever) and serves what there is. Returns whether a node was
// served.
bool Board::ServeOnce(int timeout) {
  std::vector<pollfd> waiting{{command.SignalDescriptor(), POLLIN, 0}};
  for (auto const& node : nodes) waiting.push_back({node->WaitDescriptor(), POLLIN, 0});
  if (poll(waiting.data(), waiting.size(), timeout) <= 0) return false;
  bool served = false;
  for (std::size_t i = 0; i < nodes.size(); ++i) {
    if (waiting[i + 1].revents == 0) continue;
    nodes[i]->Serve();
    served = true;
  }
  if (waiting[0].revents != 0) command.HandleSignal();
  return served;
}

// The kernel reports the last closes of a command that has ended without waiting for an answer: they are
// served for the trace's sake. Processes that the command has left behind can't hold the board up.
void Board::Finish() {
  for (int count = 0; count < 1000 && ServeOnce(0); ++count) {
  }
  trace.Chip(eeprom.model);
  if (second) trace.Chip(second->model);
  if (trace.HasFailed()) throw BoardError("the trace could not be written in full");
}
