#include "ctl/CommandLine.h"

#include <getopt.h>

#include <algorithm>
#include <iterator>
#include <limits>

#include "ctl/Arguments.h"
#include "ctl/Commands.h"
#include "ctl/Failure.h"

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
  std::size_t fewest;    // operands
  std::size_t most;
  const char* help;
  std::vector<Option> options;
  // Returns the exit code, or throws Failure.
  ExitCode (*run)(const Arguments& arguments, const Environment& environment);
};

// Needs the table of commands.
ExitCode Help(const Arguments& arguments, const Environment& environment);

constexpr std::size_t AnyNumber = std::numeric_limits<std::size_t>::max();

constexpr Option GoldcrestOption = {"goldcrest", nullptr, "the board's chip is the one at 0x52, not 0x56"};
constexpr Option FileOption = {"file", "TYPE=PATH", "store the host file PATH; TYPE as in extract"};
constexpr Option RemoveOption = {"remove", "TYPE", "remove a stored file; the others stay where they are"};
constexpr Option RevisionOption = {"revision", "N", "set the baseboard revision, 0 to 65534"};
constexpr Option DeveloperOption = {"developer", "on|off", "set or clear the developer-board flag"};
constexpr Option JournalOption = {"journal", "DIR", "keep the journal in DIR, not in " BRINDLE_STATE_DIR};

constexpr Option JsonOption = {"json", nullptr, "print JSON"};
constexpr Option ChipOption = {"chip", "CHIP", "the chip that CHIP names, not the board's"};

const std::vector<Option> JsonAndGoldcrest = {JsonOption, GoldcrestOption};

const Command Commands[] = {
    {"list", "[SOURCE]", 0, 1, "Shows settings, files, free room and problems.", JsonAndGoldcrest, List},
    {"check", "[SOURCE]...", 0, AnyNumber, "Shows the problems alone.", JsonAndGoldcrest, Check},
    {"extract",
     "SOURCE TYPE PATH",
     3,
     3,
     "Copies the data of a stored file into the host file PATH, or to standard output (-).\n"
     "TYPE is 1, 2, 3 or peripheral, upgrade, board.",
     {GoldcrestOption},
     Extract},
    {"build",
     "IMAGE",
     1,
     1,
     "Makes a new image, as Brindle would write it onto an erased chip.",
     {{"from", "SOURCE", "start from this content"},
      FileOption,
      RemoveOption,
      RevisionOption,
      DeveloperOption,
      GoldcrestOption},
     Build},
    {"diff", "SOURCE SOURCE", 2, 2, "Compares settings and files.", JsonAndGoldcrest, Diff},
    {"update",
     "[IMAGE]",
     0,
     1,
     "Writes the content of IMAGE, or the changes, to the chip, and compares.\n"
     "A power cut costs nothing: \"brindlectl recover\" then finishes the update.",
     {FileOption,
      RemoveOption,
      RevisionOption,
      DeveloperOption,
      {"keep-settings", nullptr, "keep the chip's settings, bytes 0 to 3, with IMAGE"},
      {"dry-run", nullptr, "show which pages would be written, and how long it takes"},
      {"force", nullptr, "in spite of problems of what is to be stored"},
      {"discard", nullptr, "throw away the journal of an update that was cut off"},
      JsonOption,
      ChipOption,
      GoldcrestOption,
      JournalOption,
      {"no-journal", nullptr, "do without; a power cut then costs the content"}},
     Update},
    {"recover",
     "",
     0,
     0,
     "Finishes an update that was cut off, if there is one.",
     {{"dry-run", nullptr, "show which pages would be written, or why none may be"},
      {"force", nullptr, "also when something was stored since"},
      {"discard", nullptr, "throw the journal away, and leave the chip as it is"},
      {"wait", "SECONDS", "wait so long for a chip that does not answer yet"},
      JsonOption,
      ChipOption,
      JournalOption},
     Recover},
    {"doctor",
     "",
     0,
     0,
     "Shows why Brindle finds no EEPROM, and what to do.",
     {JsonOption, ChipOption, GoldcrestOption},
     Doctor},
    {"help", "[COMMAND]", 0, 1, "Shows the commands, or the options of one.", {}, Help},
};

void PrintUsage(std::ostream& output) {
  output << "Usage: " << ProgramName << " COMMAND [OPTION...] [ARGUMENT...]\n\n";
  for (const Command& command : Commands) {
    const std::string help = command.help;
    output << "  " << command.name << std::string(10 - std::string(command.name).size(), ' ')
           << help.substr(0, help.find('\n')) << '\n';
  }
  output
      << "\nSOURCE is an image file, - for standard input, or a CHIP; nothing stands for board.\n"
         "CHIP is board, /dev/i2c-N or /dev/i2c-N@ADDRESS, the file \"eeprom\" of a kernel driver, or, "
         "after\n"
         "--chip, any file of 32768 bytes.\n"
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
  std::string last = "  --help, -h";
  last.resize(Column, ' ');
  output << last << "show this help\n";
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
    const int result = getopt_long(argc, argv.data(), "h", known.data(), &index);
    if (result == -1) break;
    if (result == 'h') {
      arguments.options.emplace_back("help", "");
      continue;
    }
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

// An empty text is most often a variable that is not set, and must not stand for anything.
void RefuseEmptyTexts(const Command& command, const Arguments& arguments) {
  for (const Option& option : command.options) {
    if (option.value != nullptr && arguments.Value(option.name) == "") {
      throw Failure(ExitCode::InvalidArguments, std::string("--") + option.name + " has an empty value");
    }
  }
  const auto& operands = arguments.operands;
  if (std::find(operands.begin(), operands.end(), "") != operands.end()) {
    throw Failure(ExitCode::InvalidArguments, "an empty argument");
  }
}

ExitCode Help(const Arguments& arguments, const Environment& environment) {
  if (arguments.operands.empty()) {
    PrintUsage(environment.output);
  } else {
    PrintHelp(FindCommand(arguments.operands.front()), environment.output);
  }
  return ExitCode::Success;
}

// `words` begins with the program's name.
ExitCode Dispatch(std::vector<std::string> words, const Environment& environment) {
  if (words.size() < 2) {
    PrintUsage(environment.messages);
    return ExitCode::InvalidArguments;
  }
  words.erase(words.begin());
  const std::string& first = words.front();
  if (first == "--help" || first == "-h") return Help(Arguments(), environment);
  if (first == "--version") {
    environment.output << ProgramName << ' ' << BRINDLE_VERSION << '\n';
    return ExitCode::Success;
  }
  const Command& command = FindCommand(first);
  words.front() = ProgramName;
  const Arguments arguments = Parse(command, std::move(words));
  if (arguments.Has("help")) {
    PrintHelp(command, environment.output);
    return ExitCode::Success;
  }
  const std::size_t count = arguments.operands.size();
  if (count < command.fewest || count > command.most) {
    throw Failure(ExitCode::InvalidArguments, "usage: " + Synopsis(command));
  }
  RefuseEmptyTexts(command, arguments);
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
