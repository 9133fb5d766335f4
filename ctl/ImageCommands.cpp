#include <algorithm>

#include "ctl/AtomicFile.h"
#include "ctl/Changes.h"
#include "ctl/Commands.h"
#include "ctl/EepromContent.h"
#include "ctl/Report.h"
#include "ctl/Source.h"
#include "eeprom/HostFile.h"

namespace {

using Bytes = std::vector<unsigned char>;

std::string FirstOperand(Arguments const& arguments) {
  return arguments.operands.empty() ? "board" : arguments.operands.front();
}

void Output(Bytes const& data, std::ostream& output) {
  output.write(reinterpret_cast<char const*>(data.data()), static_cast<std::streamsize>(data.size()));
}

// What a file reads as: its data when it is stored, the damaged image, or nothing.
std::string ContentText(FileContent const& file) {
  if (file.state == FileState::Stored) {
    return std::to_string(file.data.size()) + " bytes, checksum " + Hex(*file.checksum);
  }
  return file.state == FileState::Damaged ? "damaged" : "no file";
}

bool HaveSameContent(FileContent const& left, FileContent const& right) {
  const auto isFile = [](FileContent const& file) {
    return file.state == FileState::Stored || file.state == FileState::Damaged;
  };
  if (!isFile(left) && !isFile(right)) return true;
  return left.state == right.state && left.checksum == right.checksum && left.data == right.data;
}

std::vector<Problem> Differences(EepromContent const& left, EepromContent const& right) {
  std::vector<Problem> differences;
  const auto add = [&](char const* id, std::string const& what, std::string const& one,
                       std::string const& other, std::vector<std::size_t> files) {
    differences.push_back({id, what + ": " + one + " and " + other, std::move(files)});
  };
  if (left.revision != right.revision) {
    add("revision", "revision", RevisionText(left), RevisionText(right), {});
  }
  if (left.developerByte != right.developerByte) {
    add("developer", "developer board", DeveloperText(left), DeveloperText(right), {});
  }
  for (std::size_t file = 0; file < left.files.size(); ++file) {
    if (HaveSameContent(left.files[file], right.files[file])) continue;
    add("file", FileTitle(file), ContentText(left.files[file]), ContentText(right.files[file]), {file});
  }
  return differences;
}

// Appends what the source holds to `contents`, null when it cannot be read.
ExitCode CheckOne(std::string const& source, Arguments const& arguments, Environment const& environment,
                  Json& contents) try {
  const EepromContent content = Inspect(ReadSource(source, arguments, environment));
  contents.push_back(ToJson(content));
  if (content.problems.empty()) return ExitCode::Success;
  for (Problem const& problem : content.problems) {
    if (!arguments.Has("json")) environment.output << source << ": " << problem.text << '\n';
  }
  return ExitCode::Found;
} catch (Failure const& failure) {
  PrintMessage(environment, failure.what());
  contents.push_back(nullptr);
  return failure.exitCode;
}

}  // namespace

ExitCode List(Arguments const& arguments, Environment const& environment) {
  const EepromContent content = Inspect(ReadSource(FirstOperand(arguments), arguments, environment));
  if (arguments.Has("json")) {
    Print(ToJson(content), environment.output);
  } else {
    PrintText(content, environment.output);
  }
  return content.problems.empty() ? ExitCode::Success : ExitCode::Found;
}

ExitCode Check(Arguments const& arguments, Environment const& environment) {
  std::vector<std::string> sources = arguments.operands;
  if (sources.empty()) sources.emplace_back("board");
  ExitCode code = ExitCode::Success;
  Json contents = Json::array();
  for (std::string const& source : sources) {
    code = std::max(code, CheckOne(source, arguments, environment, contents));
  }
  if (arguments.Has("json")) Print(sources.size() == 1 ? contents.front() : contents, environment.output);
  return code;
}

ExitCode Extract(Arguments const& arguments, Environment const& environment) {
  std::string const& path = arguments.operands[2];
  const std::size_t index = ParseFileType(arguments.operands[1]);
  const Bytes image = ReadImage(arguments.operands[0], arguments, environment);
  const FileContent file = Inspect(image).files[index];
  if (file.state != FileState::Stored) {
    throw Failure(ExitCode::Failed, FileTitle(index) + " is " + StateName(file.state));
  }
  if (path == "-") {
    Output(file.data, environment.output);
  } else if (!HostFile::Write(path, file.data)) {
    throw Failure(ExitCode::Failed, path + ": cannot be written");
  }
  return ExitCode::Success;
}

ExitCode Diff(Arguments const& arguments, Environment const& environment) {
  const Bytes left = ReadImage(arguments.operands[0], arguments, environment);
  const Bytes right = ReadImage(arguments.operands[1], arguments, environment);
  const std::vector<Problem> differences = Differences(Inspect(left), Inspect(right));
  if (arguments.Has("json")) {
    Print({{"same", differences.empty()}, {"differences", ToJson(differences)}}, environment.output);
  } else if (left != right && differences.empty()) {
    environment.output << "same content, different layout\n";
  } else {
    for (Problem const& difference : differences) environment.output << difference.text << '\n';
  }
  return differences.empty() ? ExitCode::Success : ExitCode::Found;
}

ExitCode Build(Arguments const& arguments, Environment const& environment) {
  std::string const& path = arguments.operands.front();
  const auto from = arguments.Value("from");
  const Changes changes = ReadChanges(arguments, environment);
  const Bytes image = Apply(changes, from ? ReadImage(*from, arguments, environment) : ErasedImage());
  if (path == "-") {
    Output(image, environment.output);
  } else {
    WriteAtomically(path, image);
  }
  return ExitCode::Success;
}
