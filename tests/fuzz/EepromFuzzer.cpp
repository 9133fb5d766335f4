// libFuzzer target: any contents of the EEPROM and any command, held to the judge of the other tests; any
// arguments and any host file, which must end in a documented way; and any image, other file or journal for
// brindlectl.
#include <fuzzer/FuzzedDataProvider.h>

#include <algorithm>
#include <cstdlib>
#include <iostream>
#include <span>

#include "content/Pages.h"
#include "ctl/CtlRig.h"
#include "ctl/Journal.h"
#include "support/Catalogue.h"
#include "support/Judge.h"

namespace {

using Input = FuzzedDataProvider;

constexpr int Success = 0;
constexpr int Failed = 5;
constexpr int NotAccessible = 19;
constexpr int InvalidArguments = 22;

std::size_t UpTo(Input& input, std::size_t most) {
  return input.ConsumeIntegralInRange<std::size_t>(0, most);
}

// Gives some contents another length, up to more than any command takes.
void MayResize(Input& input, Bytes& content) {
  constexpr std::size_t Longest = 70'000;
  const bool isResized = input.ConsumeBool();
  if (isResized) content.resize(UpTo(input, Longest));
}

Bytes AnyContent(Input& input) {
  constexpr std::size_t Longest = 600;
  const std::string start = input.ConsumeRandomLengthString(Longest);
  Bytes content(start.begin(), start.end());
  MayResize(input, content);
  return content;
}

// Overwrites some bytes with any text.
void Change(Input& input, Bytes& bytes) {
  constexpr std::size_t Longest = 200;
  const std::string text = input.ConsumeRandomLengthString(Longest);
  const std::size_t at = UpTo(input, bytes.size() - text.size());
  std::ranges::copy(text, std::span(bytes).subspan(at).begin());
}

// Paths are always the rig's; everything else may be any text.
std::vector<std::string> AnyWords(Input& input, Rig& rig) {
  constexpr const char* Flags[] = {"/R",   "/W",  "/V",          // take a number and a path
                                   "/E",                         // takes nothing
                                   "/BS",  "/DS",                // take a value
                                   "/RBI", "/RA", "/WA", "/VA",  // take a path
                                   "/w",   ""};
  constexpr std::size_t LongestFlag = 8;
  constexpr std::size_t LongestValue = 12;
  constexpr std::size_t MostWords = 4;
  const Bytes content = AnyContent(input);
  std::string flag = input.PickValueInArray(Flags);
  const bool isAnyText = input.ConsumeBool();
  if (isAnyText) flag = input.ConsumeRandomLengthString(LongestFlag);
  const bool takesValue = flag == "/BS" || flag == "/DS";
  std::string value = rig.HostFile(content);
  if (takesValue) value = input.ConsumeRandomLengthString(LongestValue);
  if (flag.starts_with("/R")) value = rig.output;

  std::vector<std::string> words = {flag};
  const bool namesFile = input.ConsumeBool();
  if (namesFile) words.push_back(std::to_string(input.ConsumeIntegralInRange(0, 4)));
  words.push_back(value);
  const std::size_t count = UpTo(input, MostWords);
  if (count < words.size()) words.resize(count);
  return words;
}

std::string RunAnything(Input& input, Rig& rig, const Bytes& memory) {
  const std::vector<std::string> words = AnyWords(input, rig);
  rig.Load(memory);
  const Outcome outcome = rig.Run(words);
  bool isOrderly = outcome.IsOrderly();
  if (outcome.exit == InvalidArguments) {
    isOrderly = outcome.output.find("Exiting...") != std::string::npos;
  }
  return isOrderly ? "" : "exit " + std::to_string(outcome.exit);
}

// Extracts each file, which must be the model's.
std::string ExtractEach(CtlRig& rig, const std::string& image, const Bytes& content) {
  for (unsigned int file = 0; file < Files; ++file) {
    std::optional<Bytes> data;
    if (content.size() == ChipSize) data = StoreModel(content).contents[file];
    const bool isStored = data && !data->empty();
    const int expected = isStored ? Success : Failed;
    const std::string number = std::to_string(file + 1);
    if (rig.Ctl("extract " + image + " " + number + " -") != expected) return "extract";
    const Bytes extracted(rig.results.begin(), rig.results.end());
    if (isStored && extracted != data) return "what is extracted";
  }
  return "";
}

// The model knows what is stored in an image; anything else is refused.
std::string InspectAnything(Input& input, CtlRig& rig, Bytes content) {
  MayResize(input, content);
  const bool isImage = content.size() == ChipSize;
  const int expected = isImage ? Success : Failed;
  const std::string& image = rig.HostFile(content);
  const int problems = rig.Ctl("list --json " + image);
  if (problems > 1) return "list";
  if (rig.Ctl("check " + image) != problems) return "check";
  if (rig.Ctl("diff " + image + " " + image) != expected) return "diff";
  if (rig.Ctl("build --from=" + image + " -") != expected) return "build";
  const Bytes built(rig.results.begin(), rig.results.end());
  const bool isRight = !isImage || rig.Ctl("diff - " + image, built) == Success;
  if (!isRight) return "what is built";
  return ExtractEach(rig, image, content);
}

// A journal as brindlectl writes it, for the board's own EEPROM or another one, and what became of it.
struct AnyJournal {
  AnyJournal(Input& input, const Bytes& memory) : target(memory) {
    constexpr unsigned short Ours = 0x56;
    constexpr unsigned short Another = 0x10;
    isOurs = input.ConsumeBool();
    Change(input, target);
    const Journal journal = {.slave = isOurs ? Ours : Another,
                             .pages = DifferingPages(memory, target),
                             .old = memory,
                             .target = target};
    const Bytes whole = journal.Encode();
    bytes = whole;
    const bool isChanged = input.ConsumeBool();
    if (isChanged) Change(input, bytes);
    MayResize(input, bytes);
    isWhole = bytes == whole;
  }

  [[nodiscard]] int ExpectedExit() const {
    if (!isWhole) return Failed;
    return isOurs ? Success : NotAccessible;
  }

  bool isOurs = false;
  bool isWhole = false;
  Bytes target;
  Bytes bytes;
};

// A journal that is not whole changes nothing, not even itself.
std::string RecoverAnything(Input& input, CtlRig& rig, const Bytes& memory) {
  const AnyJournal journal(input, memory);
  const std::string written(journal.bytes.begin(), journal.bytes.end());
  const std::string path = rig.host.File("journal", written);
  rig.Load(memory);
  const int code = rig.Ctl("recover --journal=" + rig.host / "");
  if (code != journal.ExpectedExit()) return "recover ended with " + std::to_string(code);
  if (code == Success) {
    if (!rig.Holds(journal.target)) return "recover left something else";
    if (std::filesystem::exists(path)) return "recover left its journal";
    return "";
  }
  if (rig.chip.Model().page_writes != 0 || !rig.Holds(memory)) return "recover wrote";
  return ContentOf(path) == written ? "" : "recover changed its journal";
}

std::string TryAnything(Input& input, CtlRig& rig) {
  const Catalogue::Random below = [&input](unsigned int limit) {
    return input.ConsumeIntegralInRange(0U, limit - 1);
  };
  const Bytes memory = Catalogue::AnyMemory(below);
  switch (below(4)) {
    case 0:
      return InspectAnything(input, rig, memory);
    case 1:
      return RecoverAnything(input, rig, memory);
    case 2:
      return RunAnything(input, rig, memory);
    default:
      return RunAndJudge(rig, memory, Catalogue::AnyCommand(below, memory));
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const unsigned char* data, std::size_t size) {
  static CtlRig rig;
  Input input(data, size);
  const std::string fault = TryAnything(input, rig);
  if (fault.empty()) return 0;
  std::cerr << "FAULT: " << fault << std::endl;
  std::abort();
}
