#include "robustness/Bench.h"

#include <stdlib.h>

#include <algorithm>
#include <fstream>
#include <iterator>
#include <memory>
#include <sstream>

#include "cli/FrontEnd.h"

namespace {

constexpr std::uint64_t MessageTime = 100'000;  // ns; some bytes on a bus of 100 kHz

// Time passes from message to message, so that a chip that was left busy answers again some day.
std::uint64_t NextMessage() {
  VirtualClock::Advance(MessageTime);
  return VirtualClock::Now();
}

std::filesystem::path MakeDirectory() {
  std::error_code ignored;
  const std::filesystem::path memory = "/dev/shm";
  const bool hasMemory = std::filesystem::is_directory(memory, ignored);
  std::string path = (hasMemory ? memory : std::filesystem::temp_directory_path()) / "brindle-XXXXXX";
  if (mkdtemp(path.data()) == nullptr) throw std::runtime_error("no directory for host files");
  return path;
}

}  // namespace

bool Outcome::IsOrderly() const {
  switch (exit) {
    case 0:
      return output == "EEPROM read/write complete.\n";
    case 5:
      return output == "EEPROM read/write failed.\n";
    case 19:
      return output == "EEPROM not accessible\n";
    default:
      return false;
  }
}

Bench::Bench(Bus busKind)
    : bus(busKind),
      wire({&chip}, NextMessage),
      directory(MakeDirectory()),
      input(directory / "in"),
      output(directory / "out") {}

Bench::~Bench() {
  std::error_code ignored;
  std::filesystem::remove_all(directory, ignored);
}

void Bench::Load(Bytes const& contents) {
  std::copy(contents.begin(), contents.end(), chip.Memory().begin());
  chip_model_init(&chip.Model(), CHIP_CAT24C256, chip.Memory().data(), chip.Model().slave);
}

void Bench::PowerOn() {
  chip.ClearFaults();
  chip_model_power_on(&chip.Model());
}

bool Bench::Holds(Bytes const& contents) const {
  return std::equal(contents.begin(), contents.end(), chip.Memory().begin(), chip.Memory().end());
}

std::filesystem::path const& Bench::HostFile(Bytes const& content) {
  if (content != inputContent) {
    std::ofstream(input, std::ios::binary)
        .write(reinterpret_cast<char const*>(content.data()), static_cast<std::streamsize>(content.size()));
    inputContent = content;
  }
  return input;
}

std::vector<std::string> Bench::Arguments(Command const& command) {
  using Kind = Command::Kind;
  std::vector<std::string> arguments = {"Brindle", command.Word()};
  switch (command.kind) {
    case Kind::Read:
      return {"Brindle", "/R", std::to_string(command.file + 1), output};
    case Kind::Write:
    case Kind::Verify:
      return {"Brindle", command.Word(), std::to_string(command.file + 1), HostFile(command.host)};
    case Kind::WriteAll:
    case Kind::VerifyAll:
      return {"Brindle", command.Word(), HostFile(command.host)};
    case Kind::ReadAll:
    case Kind::Information:
      return {"Brindle", command.Word(), output};
    case Kind::Revision:
    case Kind::Developer:
      return {"Brindle", command.Word(), std::to_string(command.number)};
    default:
      return {"Brindle", command.Word()};
  }
}

Outcome Bench::Run(Command const& command) {
  return Run(Arguments(command), output);
}

Outcome Bench::Run(std::vector<std::string> const& arguments, std::filesystem::path const& made) {
  std::vector<char const*> pointers;
  std::transform(arguments.begin(), arguments.end(), std::back_inserter(pointers),
                 [](std::string const& argument) { return argument.c_str(); });
  std::ostringstream console;
  std::error_code ignored;
  std::filesystem::remove(made, ignored);
  Outcome outcome;
  outcome.exit = FrontEnd(static_cast<int>(pointers.size()), pointers.data(), console,
                          [this]() -> std::shared_ptr<I2CBus> {
                            if (bus == Bus::Queued) return std::make_shared<QueuedModelBus>(wire);
                            return std::make_shared<ModelBus>(wire);
                          });
  outcome.output = console.str();
  if (std::ifstream file(made, std::ios::binary); file) {
    outcome.host.emplace(std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>());
  }
  return outcome;
}
