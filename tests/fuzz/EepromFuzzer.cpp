// libFuzzer target: any contents of the EEPROM, any arguments, any host file. Besides crashes and sanitizer
// reports it looks for a run that ends in no documented way, for a file command that writes to the board
// bytes, between the table and the files or beyond the end, and for a successful one that damages another
// file.
#include <fuzzer/FuzzedDataProvider.h>

#include <algorithm>
#include <cstdlib>
#include <iostream>

#include "robustness/Bench.h"

namespace {

using Kind = Command::Kind;

constexpr unsigned int Files = 3;
constexpr std::size_t TableStart = 4;
constexpr std::size_t TableEnd = 16;
constexpr std::size_t FilesStart = 0x40;

[[noreturn]] void Fail(std::string const& what) {
  std::cerr << "FAULT: " << what << std::endl;
  std::abort();
}

// Puts a correct checksum before the data of a table entry, wherever the chip keeps it: the fuzzer would
// hardly find one by itself, and only readable files can be lost.
void RepairChecksum(Bytes& memory, unsigned int file) {
  const auto at = [&memory](std::size_t address) -> unsigned char& { return memory[address % ChipSize]; };
  const std::size_t entry = TableStart + 4 * std::size_t{file};
  const std::size_t address = memory[entry] + 256U * memory[entry + 1];
  const std::size_t size = memory[entry + 2] + 256U * memory[entry + 3];
  if (size < 3 || size > ChipSize) return;
  Bytes data;
  for (std::size_t i = 2; i < size; ++i) data.push_back(at(address + i));
  const Bytes image = StoreModel::Image(data);
  at(address) = image[0];
  at(address + 1) = image[1];
}

// An entry near the places where files lie, more often than not.
void PutEntry(FuzzedDataProvider& input, Bytes& memory, unsigned int file) {
  unsigned int address = input.ConsumeIntegral<unsigned short>();
  unsigned int size = input.ConsumeIntegral<unsigned short>();
  if (input.ConsumeBool()) address &= 0x7FC0;
  if (input.ConsumeBool()) size &= 0x0FFF;
  for (unsigned int i = 0; i < 2; ++i) {
    memory[TableStart + 4 * file + i] = static_cast<unsigned char>(address >> (8 * i));
    memory[TableStart + 4 * file + 2 + i] = static_cast<unsigned char>(size >> (8 * i));
  }
}

Bytes TakeMemory(FuzzedDataProvider& input) {
  Bytes memory(ChipSize, input.ConsumeIntegral<unsigned char>());
  const auto patches = input.ConsumeIntegralInRange<std::size_t>(0, 4);
  for (std::size_t i = 0; i < patches; ++i) {
    const std::size_t start = input.ConsumeIntegralInRange<std::size_t>(0, ChipSize - 1);
    const std::string bytes = input.ConsumeRandomLengthString(ChipSize - start);
    std::copy(bytes.begin(), bytes.end(), memory.begin() + static_cast<long>(start));
  }
  for (unsigned int file = 0; file < Files; ++file) PutEntry(input, memory, file);
  for (unsigned int file = 0; file < Files; ++file) {
    if (input.ConsumeBool()) RepairChecksum(memory, file);
  }
  return memory;
}

Bytes TakeHostFile(FuzzedDataProvider& input) {
  const std::string start = input.ConsumeRandomLengthString(600);
  Bytes content(start.begin(), start.end());
  content.resize(input.ConsumeBool() ? content.size() : input.ConsumeIntegralInRange<std::size_t>(0, 70'000));
  return content;
}

// Paths are always the bench's own; everything else may be any text.
std::vector<std::string> TakeArguments(FuzzedDataProvider& input, Bench& bench, Bytes const& hostFile) {
  constexpr char const* words[] = {"/R",   "/W",  "/V",  "/E",  "/BS", "/DS",
                                   "/RBI", "/RA", "/WA", "/VA", "/w",  ""};
  const std::string in = bench.HostFile(hostFile);
  const std::string out = bench.Directory() / "out";
  std::vector<std::string> arguments = {"Brindle"};
  const bool anyWord = input.ConsumeIntegralInRange(0, 15) == 0;
  arguments.emplace_back(anyWord ? input.ConsumeRandomLengthString(8) : input.PickValueInArray(words));
  const bool takesFile =
      arguments[1] == "/R" || arguments[1] == "/W" || arguments[1] == "/V" || arguments[1] == "/w";
  const bool takesText = arguments[1] == "/BS" || arguments[1] == "/DS";
  if (takesFile) arguments.push_back(std::to_string(input.ConsumeIntegralInRange(1, 3)));
  if (takesFile && input.ConsumeIntegralInRange(0, 15) == 0)
    arguments.back() = input.ConsumeRandomLengthString(12);
  if (takesText) arguments.push_back(input.ConsumeRandomLengthString(12));
  const bool makesFile = arguments[1] == "/R" || arguments[1] == "/RBI" || arguments[1] == "/RA";
  if (!takesText) arguments.push_back(makesFile ? out : in);
  arguments.resize(std::min(arguments.size(), input.ConsumeIntegralInRange<std::size_t>(1, 5)));
  return arguments;
}

bool IsFileCommand(std::vector<std::string> const& arguments) {
  return arguments.size() > 1 && (arguments[1] == "/W" || arguments[1] == "/w");
}

// Byte by byte, and message by message: a write beyond the end would come round to the start.
void CheckWhereItWrote(Bench& bench, Bytes const& before) {
  for (std::size_t i = 0; i < FilesStart; ++i) {
    if (i >= TableStart && i < TableEnd) continue;
    if (bench.Span()[i] != before[i]) Fail("a file command wrote to address " + std::to_string(i));
  }
  for (ModelWire::Message const& message : bench.Wire().Messages()) {
    if (message.isRead || message.bytes.size() <= 2) continue;
    const std::size_t end = 256U * message.bytes[0] + message.bytes[1] + message.bytes.size() - 2;
    if (end > ChipSize) Fail("a file command wrote beyond the end");
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(unsigned char const* data, std::size_t size) {
  static Bench bench;
  FuzzedDataProvider input(data, size);
  const Bytes memory = TakeMemory(input);
  const Bytes hostFile = TakeHostFile(input);
  const std::vector<std::string> arguments = TakeArguments(input, bench, hostFile);

  const StoreModel before(memory);
  bench.Load(memory);
  bench.Wire().Messages().clear();
  bench.Wire().Record();
  const Outcome outcome = bench.Run(arguments, bench.Directory() / "out");
  if (outcome.exit != 22 && !outcome.IsOrderly()) Fail("exit " + std::to_string(outcome.exit));
  if (outcome.exit == 22 && outcome.output.find("Exiting...") == std::string::npos)
    Fail("22 without its message");
  if (!IsFileCommand(arguments)) return 0;

  CheckWhereItWrote(bench, memory);
  if (outcome.exit != 0) return 0;
  const StoreModel after(bench.Memory());
  const unsigned int written = static_cast<unsigned int>(std::strtoul(arguments[2].c_str(), nullptr, 10)) - 1;
  for (unsigned int file = 0; file < Files; ++file) {
    if (file == written) continue;
    const auto content = before.Content(file);
    if (content && content != after.Content(file)) Fail("file " + std::to_string(file + 1) + " is damaged");
  }
  return 0;
}
