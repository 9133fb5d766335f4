#include "support/Rig.h"

#include <unistd.h>

#include <algorithm>
#include <sstream>

#include "cli/FrontEnd.h"

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

Rig::Rig(unsigned int attempts, chip_kind kind, unsigned short slave) : chip(kind, slave) {
  const std::initializer_list<EmulatedChip*> chips = {&chip, &goldcrest};
  bus = std::make_shared<ChipBus>(chips, attempts);
}

void Rig::Load(const Bytes& contents) {
  std::ranges::copy(contents, chip.Memory().begin());
  chip_model& model = chip.Model();
  chip_model_init(&model, model.kind, model.memory, model.slave);
  constexpr std::uint64_t MessageTime = 100'000;  // ns; some bytes on a bus of 100 kHz
  bus->onMessage = [] { VirtualClock::now += MessageTime; };
}

void Rig::PowerOn() {
  chip.ClearFaults();
  chip_model_power_on(&chip.Model());
}

bool Rig::Holds(const Bytes& contents) const {
  return std::ranges::equal(contents, chip.Memory());
}

bool Rig::CameTo(const Expectation& expected, const Outcome& outcome) const {
  return outcome.exit == expected.exit && outcome.host == expected.host && Holds(expected.memory);
}

const std::string& Rig::HostFile(const Bytes& content) {
  const bool isThere = content == inputContent;
  if (!isThere) host.File("in", {content.begin(), content.end()});
  inputContent = content;
  return input;
}

Outcome Rig::Run(const Command& command) {
  std::vector<std::string> words = {command.word};
  if (command.NamesFile()) words.push_back(std::to_string(command.file + 1));
  if (!command.value.empty()) {
    words.push_back(command.value);
  } else if (command.MakesHostFile()) {
    words.push_back(output);
  } else if (!command.Is("/E")) {
    words.push_back(HostFile(command.host));
  }
  return Run(words);
}

Outcome Rig::Run(const std::vector<std::string>& words) {
  std::vector<const char*> argv = {"Brindle"};
  for (const std::string& word : words) argv.push_back(word.c_str());
  unlink(output.c_str());
  std::ostringstream console;
  const auto count = static_cast<int>(argv.size());
  Outcome outcome;
  outcome.exit = FrontEnd(count, argv.data(), console, [this] { return bus; });
  outcome.output = console.str();
  const std::string made = ContentOf(output);
  const bool isMade = access(output.c_str(), F_OK) == 0;
  if (isMade) outcome.host.emplace(made.begin(), made.end());
  return outcome;
}
