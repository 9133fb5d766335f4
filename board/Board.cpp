#include "board/Board.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <iostream>
#include <sstream>

#include "board/At24.h"
#include "board/BoardError.h"
#include "board/BoardTree.h"
#include "board/I2CDevFile.h"
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

FuseNode::Open OpenNode(I2CAdapter& adapter) {
  const auto file = std::make_shared<I2CDevFile>(adapter);
  const auto ioctl = [file](auto request, auto argument, const auto& caller) {
    return file->Ioctl(request, argument, caller);
  };
  return {.read = [file](auto data, auto /*offset*/) { return file->Read(data); },
          .write = [file](auto data, auto /*offset*/) { return file->Write(data); },
          .ioctl = ioctl};
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
      driverPages(options.driverPages),
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
  MountDriverFiles();
  command.Start(commandLine, [this] {
    for (FuseNode& node : nodes) node.MakeOwnerKnown();
  });
  for (FuseNode& node : nodes) node.Start();
  const int exitCode = command.Wait();
  for (FuseNode& node : nodes) node.Stop();
  FinishTrace();
  return exitCode;
}

void Board::MountNodes() {
  for (I2CAdapter& adapter : adapters) {
    const unsigned int number = adapter.Number();
    const FuseNode::File file{BoardTree::NodePath(number), "i2c-" + std::to_string(number), 0666, 0,
                              [&adapter] { return OpenNode(adapter); }};
    nodes.emplace_back(file, trace, lock);
  }
}

void Board::MountDriverFiles() {
  std::map<std::string, std::set<std::string>> drivers;
  for (I2CAdapter& adapter : adapters) {
    for (const unsigned int address : claimed) {
      const std::string device = BoardTree::DeviceName(adapter.Number(), address);
      const std::string driver = BoardTree::DriverName(address);
      const chip_model* const chip = adapter.Bus().ChipAt(address);
      if (chip && chip->slave == address) MountEeprom(device, adapter, *chip);
      BoardTree::SetBound(driver, device, true);
      drivers[driver].insert(device);
    }
  }
  for (const auto& [driver, devices] : drivers) {
    MountControl(driver, "bind", devices, true);
    MountControl(driver, "unbind", devices, false);
  }
}

void Board::MountEeprom(const std::string& device, I2CAdapter& adapter, const chip_model& chip) {
  const chip_rules& rules = *chip_model_rules(chip.kind);
  const std::size_t wanted = driverPages[chip.slave];
  const std::size_t page = wanted > 0 ? wanted : rules.page;
  const auto read = [=, &adapter, &chip](auto data, auto offset) {
    return At24::Transfer(adapter, chip, page, offset, {}, data);
  };
  const auto write = [=, &adapter, &chip](auto data, auto offset) {
    return At24::Transfer(adapter, chip, page, offset, data, {});
  };
  const FuseNode::File file{BoardTree::AddFile("eeproms/" + device, "eeprom"), device + "/eeprom", 0600,
                            rules.size, [=] { return FuseNode::Open{.read = read, .write = write}; }};
  nodes.emplace_back(file, trace, lock);
}

void Board::MountControl(const std::string& driver, const char* name, const std::set<std::string>& devices,
                         bool binds) {
  const auto write = [=](auto data, auto /*offset*/) {
    std::string device;
    std::istringstream(std::string(data.begin(), data.end())) >> device;
    const int result = devices.contains(device) ? BoardTree::SetBound(driver, device, binds) : -ENODEV;
    return result < 0 ? result : static_cast<int>(data.size());
  };
  const FuseNode::File file{BoardTree::AddFile("drivers/" + driver, name), (driver + "/").append(name), 0200,
                            0, [=] { return FuseNode::Open{.write = write}; }};
  nodes.emplace_back(file, trace, lock);
}

void Board::FinishTrace() {
  trace.Chip(eeprom.model);
  if (second) trace.Chip(second->model);
  if (trace.HasFailed()) throw BoardError("the trace could not be written in full");
}
