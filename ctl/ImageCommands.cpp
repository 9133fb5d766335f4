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

std::string FirstOperand(const Arguments& arguments) {
  return arguments.operands.empty() ? "board" : arguments.operands.front();
}

void Output(const Bytes& data, std::ostream& output) {
  output.write(reinterpret_cast<const char*>(data.data()), static_cast<std::streamsize>(data.size()));
}

// What a file reads as: its data when it is stored, the damaged image, or nothing.
std::string ContentText(const FileContent& file) {
  if (file.state == FileState::Stored) {
    return std::to_string(file.data.size()) + " bytes, checksum " + Hex(*file.checksum);
  }
  return file.state == FileState::Damaged ? "damaged" : "no file";
}

bool HaveSameContent(const FileContent& left, const FileContent& right) {
  const auto isFile = [](const FileContent& file) {
    return file.state == FileState::Stored || file.state == FileState::Damaged;
  };
  if (!isFile(left) && !isFile(right)) return true;
  return left.state == right.state && left.checksum == right.checksum && left.data == right.data;
}

std::vector<Problem> Differences(const EepromContent& left, const EepromContent& right) {
  std::vector<Problem> differences;
  const auto add = [&](const char* id, const std::string& what, const std::string& one,
                       const std::string& other, std::vector<std::size_t> files) {
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
ExitCode CheckOne(const std::string& source, const Arguments& arguments, const Environment& environment,
                  Json& contents) try {
  const EepromContent content = Inspect(ReadSource(source, arguments, environment));
  contents.push_back(ToJson(content));
  if (content.problems.empty()) return ExitCode::Success;
  for (const Problem& problem : content.problems) {
    if (!arguments.Has("json")) environment.output << source << ": " << problem.text << '\n';
  }
  return ExitCode::Found;
} catch (const Failure& failure) {
  PrintMessage(environment, failure.what());
  contents.push_back(nullptr);
  return failure.exitCode;
}

}  // namespace

ExitCode List(const Arguments& arguments, const Environment& environment) {
  const EepromContent content = Inspect(ReadSource(FirstOperand(arguments), arguments, environment));
  if (arguments.Has("json")) {
    Print(ToJson(content), environment.output);
  } else {
    PrintText(content, environment.output);
  }
  return content.problems.empty() ? ExitCode::Success : ExitCode::Found;
}

ExitCode Check(const Arguments& arguments, const Environment& environment) {
  std::vector<std::string> sources = arguments.operands;
  if (sources.empty()) sources.emplace_back("board");
  ExitCode code = ExitCode::Success;
  Json contents = Json::array();
  for (const std::string& source : sources) {
    code = std::max(code, CheckOne(source, arguments, environment, contents));
  }
  if (arguments.Has("json")) Print(sources.size() == 1 ? contents.front() : contents, environment.output);
  return code;
}

ExitCode Extract(const Arguments& arguments, const Environment& environment) {
  const std::string& path = arguments.operands[2];
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

ExitCode Diff(const Arguments& arguments, const Environment& environment) {
  const Bytes left = ReadImage(arguments.operands[0], arguments, environment);
  const Bytes right = ReadImage(arguments.operands[1], arguments, environment);
  const std::vector<Problem> differences = Differences(Inspect(left), Inspect(right));
  if (arguments.Has("json")) {
    Print({{"same", differences.empty()}, {"differences", ToJson(differences)}}, environment.output);
  } else if (left != right && differences.empty()) {
    environment.output << "same content, different layout\n";
  } else {
    for (const Problem& difference : differences) environment.output << difference.text << '\n';
  }
  return differences.empty() ? ExitCode::Success : ExitCode::Found;
}

ExitCode Build(const Arguments& arguments, const Environment& environment) {
  const std::string& path = arguments.operands.front();
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
