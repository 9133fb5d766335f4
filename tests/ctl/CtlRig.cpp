#include "ctl/CtlRig.h"

#include <algorithm>
#include <filesystem>
#include <set>
#include <sstream>

#include "ctl/CommandLine.h"

namespace {

std::vector<std::string> Words(const std::string& line) {
  std::vector<std::string> words;
  std::istringstream text(line);
  for (std::string word; std::getline(text, word, ' ');) words.push_back(word);
  return words;
}

}  // namespace

CtlRig::CtlRig() {
  std::filesystem::current_path(host / "");
  reserve = [](unsigned int) { return std::make_shared<DirectoryLock>(); };
}

int CtlRig::Ctl(const std::string& line, const Bytes& standardInput) {
  const std::vector<std::string> words = Words("brindlectl " + line);
  std::vector<const char*> argv;
  for (const std::string& word : words) argv.push_back(word.c_str());
  std::istringstream in({standardInput.begin(), standardInput.end()});
  std::ostringstream out, err;
  const Board board = {.reserve = [this](unsigned int timeout) { return reserve(timeout); },
                       .findBus = [this] { return bus; }};
  const Environment environment = {
      .input = in, .output = out, .messages = err, .board = board, .onTerminal = isTerminal};
  const int code = RunCommandLine(static_cast<int>(argv.size()), argv.data(), environment);
  results = out.str();
  messages = err.str();
  return code;
}

int CtlRig::TakeAdvice() {
  const std::string program = "\"brindlectl ";
  const std::size_t quote = messages.find(program);
  if (quote == std::string::npos) return -1;
  const std::size_t start = quote + program.size();
  return Ctl(messages.substr(start, messages.find('"', start) - start));
}

bool CtlRig::Says(const std::string& text) const {
  return (results + messages).find(text) != std::string::npos;
}

void CtlRig::File(const std::string& name, const Bytes& content) const {
  host.File(name, {content.begin(), content.end()});
}

Bytes Content(const std::string& path) {
  const std::string content = ContentOf(path);
  return {content.begin(), content.end()};
}

std::string FileNames() {
  std::set<std::string> names;
  for (const auto& entry : std::filesystem::directory_iterator(".")) names.insert(entry.path().filename());
  std::string text;
  for (const std::string& name : names) text += name + ' ';
  return text;
}

Bytes Then(Bytes memory, const std::vector<Command>& commands) {
  for (const Command& command : commands) memory = StoreModel(memory).Expect(command).value().memory;
  return memory;
}

Bytes Changed(Bytes bytes, std::size_t address, const Bytes& replacement) {
  std::ranges::copy(replacement, bytes.begin() + static_cast<std::ptrdiff_t>(address));
  return bytes;
}
