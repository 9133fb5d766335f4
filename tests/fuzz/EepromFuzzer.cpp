// libFuzzer target: any contents of the EEPROM and any command, held to the judge of the other tests; any
// arguments and any host file, which must end in a documented way; and any image, other file or journal for
// brindlectl.
#include <fuzzer/FuzzedDataProvider.h>

#include <algorithm>
#include <cstdlib>
#include <iostream>

#include "ctl/CtlRig.h"
#include "ctl/Journal.h"
#include "support/Catalogue.h"
#include "support/Judge.h"

namespace {

// Paths are always the rig's; everything else may be any text.
std::string RunAnything(FuzzedDataProvider& input, Rig& rig, const Bytes& memory) {
  constexpr const char* Words[] = {"/R",   "/W",  "/V",  "/E",  "/BS", "/DS",
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

// The model knows what is stored in an image; anything else is refused.
std::string InspectAnything(FuzzedDataProvider& input, CtlRig& rig, Bytes content) {
  if (input.ConsumeBool()) content.resize(input.ConsumeIntegralInRange<std::size_t>(0, 70'000));
  const bool isImage = content.size() == ChipSize;
  const std::string& image = rig.HostFile(content);
  const int problems = rig.Ctl("list --json " + image);
  if (problems > 1 || rig.Ctl("check " + image) != problems) return "list or check";
  if (rig.Ctl("diff " + image + " " + image) != (isImage ? 0 : 5)) return "diff";
  if (rig.Ctl("build --from=" + image + " -") != (isImage ? 0 : 5)) return "build";
  const Bytes built(rig.results.begin(), rig.results.end());
  if (isImage && rig.Ctl("diff - " + image, built) != 0) return "what is built";
  for (unsigned int file = 0; file < Files; ++file) {
    const auto data = isImage ? StoreModel(content).contents[file] : std::nullopt;
    const bool isStored = data && !data->empty();
    if (rig.Ctl("extract " + image + " " + std::to_string(file + 1) + " -") != (isStored ? 0 : 5))
      return "extract";
    if (isStored &&
        !std::ranges::equal(rig.results, *data, {}, [](char c) { return static_cast<unsigned char>(c); })) {
      return "what is extracted";
    }
  }
  return "";
}

// A journal that is not whole changes nothing, not even itself.
std::string RecoverAnything(FuzzedDataProvider& input, CtlRig& rig, const Bytes& memory) {
  const auto change = [&input](Bytes& bytes) {
    const std::string text = input.ConsumeRandomLengthString(200);
    const auto at = input.ConsumeIntegralInRange<std::size_t>(0, bytes.size() - text.size());
    std::copy(text.begin(), text.end(), bytes.begin() + static_cast<std::ptrdiff_t>(at));
  };
  const bool isOurs = input.ConsumeBool();
  Bytes target = memory;
  change(target);
  const Bytes whole = Journal{static_cast<unsigned short>(isOurs ? 0x56 : 0x10), memory, target}.Encode();
  Bytes bytes = whole;
  if (input.ConsumeBool()) change(bytes);
  if (input.ConsumeBool()) bytes.resize(input.ConsumeIntegralInRange<std::size_t>(0, 70'000));
  const std::string written(bytes.begin(), bytes.end());
  const std::string journal = rig.host.File("journal", written);
  rig.Load(memory);
  const int code = rig.Ctl("recover --journal=" + rig.host / "");
  const bool isDone = bytes == whole && isOurs;
  if (code != (isDone ? 0 : bytes == whole ? 19 : 5)) return "recover ended with " + std::to_string(code);
  if (!rig.Holds(isDone ? target : memory)) return "recover left something else";
  if (!isDone && (rig.chip.Model().page_writes != 0 || ContentOf(journal) != written)) return "recover wrote";
  return isDone && std::filesystem::exists(journal) ? "recover left its journal" : "";
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const unsigned char* data, std::size_t size) {
  static CtlRig rig;
  FuzzedDataProvider input(data, size);
  const Catalogue::Random below = [&input](unsigned int limit) {
    return input.ConsumeIntegralInRange(0U, limit - 1);
  };
  const Bytes memory = Catalogue::AnyMemory(below);
  const unsigned int kind = below(4);
  const std::string fault = kind == 0   ? InspectAnything(input, rig, memory)
                            : kind == 1 ? RecoverAnything(input, rig, memory)
                            : kind == 2 ? RunAnything(input, rig, memory)
                                        : RunAndJudge(rig, memory, Catalogue::AnyCommand(below, memory));
  if (fault.empty()) return 0;
  std::cerr << "FAULT: " << fault << std::endl;
  std::abort();
}
