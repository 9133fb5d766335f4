#include "support/Rig.h"

#include <unistd.h>

#include <algorithm>
#include <sstream>

#include "cli/FrontEnd.h"

bool Outcome::IsOrderly() const {
  return (exit == 0 && output == "EEPROM read/write complete.\n") ||
         (exit == 5 && output == "EEPROM read/write failed.\n") ||
         (exit == 19 && output == "EEPROM not accessible\n");
}

Rig::Rig(unsigned int attempts, chip_kind kind, unsigned short slave)
    : chip(kind, slave),
      bus(std::make_shared<ChipBus>(std::initializer_list<EmulatedChip*>{&chip, &goldcrest}, attempts)) {}

void Rig::Load(const Bytes& contents) {
  std::copy(contents.begin(), contents.end(), chip.Memory().begin());
  chip_model_init(&chip.Model(), chip.Model().kind, chip.Memory().data(), chip.Model().slave);
  constexpr std::uint64_t MessageTime = 100'000;  // ns; some bytes on a bus of 100 kHz
  bus->onMessage = [] { VirtualClock::now += MessageTime; };
}

void Rig::PowerOn() {
  chip.ClearFaults();
  chip_model_power_on(&chip.Model());
}

bool Rig::Holds(const Bytes& contents) const {
  return std::equal(contents.begin(), contents.end(), chip.Memory().begin(), chip.Memory().end());
}

bool Rig::CameTo(const Expectation& expected, const Outcome& outcome) const {
  return outcome.exit == expected.exit && outcome.host == expected.host && Holds(expected.memory);
}

const std::string& Rig::HostFile(const Bytes& content) {
  if (content != inputContent) host.File("in", {content.begin(), content.end()});
  inputContent = content;
  return input;
}

Outcome Rig::Run(const Command& command) {
  std::vector<std::string> words = {command.word};
  if (command.NamesFile()) words.push_back(std::to_string(command.file + 1));
  if (!command.value.empty()) {
    words.push_back(command.value);
  } else if (!command.Is("/E")) {
    words.push_back(command.MakesHostFile() ? output : HostFile(command.host));
  }
  return Run(words);
}

Outcome Rig::Run(const std::vector<std::string>& words) {
  std::vector<const char*> argv = {"Brindle"};
  for (const std::string& word : words) argv.push_back(word.c_str());
  unlink(output.c_str());
  std::ostringstream console;
  const int exit = FrontEnd(static_cast<int>(argv.size()), argv.data(), console, [this] { return bus; });
  Outcome outcome = {exit, {}, console.str()};
  const std::string made = ContentOf(output);
  if (access(output.c_str(), F_OK) == 0) outcome.host.emplace(made.begin(), made.end());
  return outcome;
}
