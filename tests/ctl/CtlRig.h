// brindlectl in this process, on emulated chips.
#pragma once

#include <sstream>

#include "ctl/CommandLine.h"
#include "support/Rig.h"

struct CtlRig : Rig {
  // Runs words that single spaces separate; `results` and `messages` are then what was printed.
  int Ctl(const std::string& line, const Bytes& standardInput = {}) {
    std::vector<std::string> words;
    std::istringstream text("brindlectl " + line);
    for (std::string word; std::getline(text, word, ' ');) words.push_back(word);
    std::vector<const char*> argv;
    for (const std::string& word : words) argv.push_back(word.c_str());
    std::istringstream in({standardInput.begin(), standardInput.end()});
    std::ostringstream out, err;
    const Board board = {[](unsigned int) { return std::make_shared<DirectoryLock>(); },
                         [this] { return bus; }};
    const int code = RunCommandLine(static_cast<int>(argv.size()), argv.data(), {in, out, err, board});
    results = out.str();
    messages = err.str();
    return code;
  }

  void File(const std::string& name, const Bytes& content) const {
    host.File(name, {content.begin(), content.end()});
  }

  std::string results, messages;
};

inline Bytes Content(const std::string& path) {
  const std::string content = ContentOf(path);
  return {content.begin(), content.end()};
}
