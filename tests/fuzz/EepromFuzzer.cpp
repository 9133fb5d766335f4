// libFuzzer target: any contents of the EEPROM and any command, held to the judge of the other tests, or any
// arguments and any host file, which must end in a documented way.
#include <fuzzer/FuzzedDataProvider.h>

#include <cstdlib>
#include <iostream>

#include "support/Catalogue.h"
#include "support/Judge.h"

namespace {

// Paths are always the rig's; everything else may be any text.
std::string RunAnything(FuzzedDataProvider& input, Rig& rig, Bytes const& memory) {
  constexpr char const* Words[] = {"/R",   "/W",  "/V",  "/E",  "/BS", "/DS",
                                   "/RBI", "/RA", "/WA", "/VA", "/w",  ""};
  const std::string start = input.ConsumeRandomLengthString(600);
  Bytes content(start.begin(), start.end());
  if (input.ConsumeBool()) content.resize(input.ConsumeIntegralInRange<std::size_t>(0, 70'000));
  std::vector<std::string> words = {input.PickValueInArray(Words)};
  if (input.ConsumeBool()) words[0] = input.ConsumeRandomLengthString(8);
  const bool isText = words[0] == "/BS" || words[0] == "/DS";
  words.push_back(isText ? input.ConsumeRandomLengthString(12) : rig.HostFile(content));
  if (input.ConsumeBool())
    words.insert(words.begin() + 1, std::to_string(input.ConsumeIntegralInRange(0, 4)));
  if (words[0].starts_with("/R")) words.back() = rig.output;
  words.resize(std::min(words.size(), input.ConsumeIntegralInRange<std::size_t>(0, 4)));
  rig.Load(memory);
  const Outcome outcome = rig.Run(words);
  if (outcome.exit == 22) {
    return outcome.output.find("Exiting...") == std::string::npos ? "22 without its message" : "";
  }
  return outcome.IsOrderly() ? "" : "exit " + std::to_string(outcome.exit);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(unsigned char const* data, std::size_t size) {
  static Rig rig;
  FuzzedDataProvider input(data, size);
  const Catalogue::Random below = [&input](unsigned int limit) {
    return input.ConsumeIntegralInRange(0U, limit - 1);
  };
  const Bytes memory = Catalogue::AnyMemory(below);
  std::string fault;
  if (input.ConsumeBool()) {
    fault = RunAnything(input, rig, memory);
  } else {
    fault = RunAndJudge(rig, memory,
                        below(4) != 0 ? Catalogue::AnyWrite(below, memory) : Catalogue::AnyCommand(below));
  }
  if (fault.empty()) return 0;
  std::cerr << "FAULT: " << fault << std::endl;
  std::abort();
}
