#include "ctl/CommandLine.h"

#include <getopt.h>

#include <algorithm>
#include <iterator>

#include "ctl/Commands.h"

namespace {

// An option of a command. `value` names its value in the help, null when it takes none.
struct Option {
  const char* name;
  const char* value;
  const char* help;
};

struct Command {
  const char* name;
  const char* operands;  // as the help shows them: [optional], repeated...
  const char* help;
  std::vector<Option> options;
  // Returns the exit code, or throws Failure.
  ExitCode (*run)(const Arguments& arguments, const Environment& environment);
};

constexpr Option GoldcrestOption = {"goldcrest", nullptr, "the board's chip is the one at 0x52, not 0x56"};
constexpr Option FileOption = {"file", "TYPE=PATH", "store the host file PATH; TYPE as in extract"};
constexpr Option RevisionOption = {"revision", "N", "set the baseboard revision, 0 to 65535"};
constexpr Option JournalOption = {"journal", "DIR", "keep the journal in DIR, not in " BRINDLE_STATE_DIR};
constexpr Option DeveloperOption = {"developer", "on|off", "set or clear the developer-board flag"};

const std::vector<Option> JsonAndGoldcrest = {{"json", nullptr, "print JSON"}, GoldcrestOption};

const Command Commands[] = {
    {"list", "[SOURCE]", "Shows settings, files, free room and problems.", JsonAndGoldcrest, List},
    {"check", "[SOURCE]...", "Shows the problems alone.", JsonAndGoldcrest, Check},
    {"extract",
     "SOURCE TYPE PATH",
     "Copies the data of a stored file into the host file PATH, or to standard output (-).\n"
     "TYPE is 1, 2, 3 or peripheral, upgrade, board.",
     {GoldcrestOption},
     Extract},
    {"build",
     "IMAGE",
     "Makes a new image, as Brindle would write it onto an erased chip.",
     {{"from", "SOURCE", "start from this content"},
      FileOption,
      RevisionOption,
      DeveloperOption,
      GoldcrestOption},
     Build},
    {"diff", "SOURCE SOURCE", "Compares settings and files.", JsonAndGoldcrest, Diff},
    {"update",
     "[IMAGE]",
     "Writes the content of IMAGE, or the changes, to the chip, and compares.\n"
     "A power cut costs nothing: \"brindlectl recover\" then finishes the update.",
     {FileOption,
      RevisionOption,
      DeveloperOption,
      {"keep-settings", nullptr, "keep the chip's settings, bytes 0 to 3, with IMAGE"},
      {"dry-run", nullptr, "show which pages would be written, and how long it takes"},
      {"force", nullptr, "in spite of problems of IMAGE and of an update that was cut off"},
      GoldcrestOption,
      JournalOption,
      {"no-journal", nullptr, "do without; a power cut then costs the content"}},
     Update},
    {"recover",
     "",
     "Finishes an update that was cut off, if there is one.",
     {{"force", nullptr, "also when something was stored since"}, JournalOption},
     Recover},
    {"doctor", "", "Shows why Brindle finds no EEPROM, and what to do.", JsonAndGoldcrest, Doctor},
};

void PrintUsage(std::ostream& output) {
  output << "Usage: " << ProgramName << " COMMAND [OPTION...] [ARGUMENT...]\n\n";
  for (const Command& command : Commands) {
    const std::string help = command.help;
    output << "  " << command.name << std::string(10 - std::string(command.name).size(), ' ')
           << help.substr(0, help.find('\n')) << '\n';
  }
  output
      << "\nSOURCE is an image file, - for standard input, or board (or nothing) for the board's chip.\n"
         "\"brindlectl COMMAND --help\" shows the options of a command.\n"
         "Exit codes: 0 done, 1 differences or problems found, 5 failed, 19 no EEPROM, 22 bad arguments.\n";
}

std::string Synopsis(const Command& command) {
  return std::string(ProgramName) + ' ' + command.name + " [OPTION...] " + command.operands;
}

void PrintHelp(const Command& command, std::ostream& output) {
  constexpr std::size_t Column = 24;
  output << "Usage: " << Synopsis(command) << "\n\n" << command.help << "\n\n";
  for (const Option& option : command.options) {
    std::string left = std::string("  --") + option.name;
    if (option.value != nullptr) left += std::string("=") + option.value;
    left.resize(std::max(left.size() + 1, Column), ' ');
    output << left << option.help << '\n';
  }
}

bool Takes(const Command& command, std::size_t count) {
  const std::string text = command.operands;
  const auto most =
      static_cast<std::size_t>(text.empty() ? 0 : 1 + std::count(text.begin(), text.end(), ' '));
  const auto optional = static_cast<std::size_t>(std::count(text.begin(), text.end(), '['));
  return count >= most - optional && (count <= most || text.ends_with("..."));
}

// `words` begins with the program's name. getopt_long itself says what it does not know.
Arguments Parse(const Command& command, std::vector<std::string> words) {
  std::vector<option> known;
  for (const Option& each : command.options) {
    known.push_back({each.name, each.value == nullptr ? no_argument : required_argument, nullptr, 0});
  }
  known.push_back({"help", no_argument, nullptr, 0});
  known.push_back({});
  std::vector<char*> argv;
  argv.reserve(words.size() + 1);
  for (std::string& word : words) argv.push_back(word.data());
  argv.push_back(nullptr);

  Arguments arguments;
  const int argc = static_cast<int>(words.size());
  optind = 0;  // makes getopt_long start afresh
  while (true) {
    int index = 0;
    const int result = getopt_long(argc, argv.data(), "", known.data(), &index);
    if (result == -1) break;
    if (result != 0) throw Failure(ExitCode::InvalidArguments, "usage: " + Synopsis(command));
    arguments.options.emplace_back(known[static_cast<std::size_t>(index)].name,
                                   optarg == nullptr ? "" : optarg);
  }
  arguments.operands.assign(argv.begin() + optind, argv.begin() + argc);
  return arguments;
}

const Command& FindCommand(const std::string& name) {
  const auto* const found = std::find_if(std::begin(Commands), std::end(Commands),
                                         [&name](const Command& command) { return command.name == name; });
  if (found == std::end(Commands)) {
    throw Failure(ExitCode::InvalidArguments, "no command \"" + name + "\"; see " + ProgramName + " --help");
  }
  return *found;
}

// `words` begins with the program's name.
ExitCode Dispatch(std::vector<std::string> words, const Environment& environment) {
  if (words.size() < 2) {
    PrintUsage(environment.messages);
    return ExitCode::InvalidArguments;
  }
  if (words[1] == "--help") {
    PrintUsage(environment.output);
    return ExitCode::Success;
  }
  if (words[1] == "--version") {
    environment.output << ProgramName << ' ' << BRINDLE_VERSION << '\n';
    return ExitCode::Success;
  }
  const Command& command = FindCommand(words[1]);
  words.erase(words.begin());
  words.front() = ProgramName;
  const Arguments arguments = Parse(command, std::move(words));
  if (arguments.Has("help")) {
    PrintHelp(command, environment.output);
    return ExitCode::Success;
  }
  if (!Takes(command, arguments.operands.size())) {
    throw Failure(ExitCode::InvalidArguments, "usage: " + Synopsis(command));
  }
  return command.run(arguments, environment);
}

ExitCode Run(std::vector<std::string> words, const Environment& environment) try {
  const ExitCode code = Dispatch(std::move(words), environment);
  if (environment.output.flush()) return code;
  throw Failure(ExitCode::Failed, "standard output: cannot be written");
} catch (const Failure& failure) {
  PrintMessage(environment, failure.what());
  return failure.exitCode;
} catch (const std::exception& exception) {
  PrintMessage(environment, exception.what());
  return ExitCode::Failed;
}

}  // namespace

int RunCommandLine(int argc, const char* const* argv, const Environment& environment) {
  return static_cast<int>(Run({argv, argv + argc}, environment));
}
