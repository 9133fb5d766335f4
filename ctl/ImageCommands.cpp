#include <sys/stat.h>

#include <algorithm>

#include "content/Changes.h"
#include "content/EepromContent.h"
#include "content/Hexadecimal.h"
#include "ctl/AtomicFile.h"
#include "ctl/ChangeOptions.h"
#include "ctl/Commands.h"
#include "ctl/Failure.h"
#include "ctl/HostBytes.h"
#include "ctl/Report.h"
#include "ctl/Source.h"

namespace {

using Bytes = std::vector<unsigned char>;

void Output(const Bytes& data, std::ostream& output) {
  output.write(reinterpret_cast<const char*>(data.data()), static_cast<std::streamsize>(data.size()));
}

// Describes a file for diff: its length and checksum, "damaged" or "no file".
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

// What two contents do not have in common, told as a finding is.
using Difference = Finding;

std::vector<Difference> Differences(const EepromContent& left, const EepromContent& right) {
  std::vector<Difference> differences;
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

// Returns whether two contents differ in places that matter to nothing. Those of a chip are read twice.
bool HaveDifferentLayout(Source& left, Source& right) {
  const PageSet pages = DifferingPages(left.Content(), right.Content());
  left.Confirm(pages);
  right.Confirm(pages);
  return left.Content() != right.Content();
}

// One of several sources, with its name and the reason why it could not be read, if it could not.
Json NamedJson(const std::string& source, const Json& error, const Json& content) {
  Json json = {{"source", source}, {"error", error}};
  json.update(content);
  return json;
}

Json UnreadableJson() {
  Json json = ToJson(EepromContent());
  for (auto& value : json) value = nullptr;
  return json;
}

// Appends what the source holds to `contents`.
ExitCode CheckOne(const std::string& source, const Arguments& arguments, const Environment& environment,
                  Json& contents) {
  const auto fail = [&](ExitCode code, const char* reason) {
    PrintMessage(environment, reason);
    contents.push_back(NamedJson(source, reason, UnreadableJson()));
    return code;
  };
  try {
    const EepromContent content = Source(source, arguments, environment).Examine();
    contents.push_back(NamedJson(source, nullptr, ToJson(content)));
    if (content.findings.empty()) return ExitCode::Success;
    for (const Finding& finding : content.findings) {
      if (!arguments.Has("json")) environment.output << source << ": " << finding.text << '\n';
    }
    return ExitCode::Found;
  } catch (const Failure& failure) {
    return fail(failure.exitCode, failure.what());
  } catch (const std::exception& failure) {
    return fail(ExitCode::Failed, failure.what());
  }
}

void RefuseSameFile(const std::string& source, const std::string& path) {
  struct stat first {};
  struct stat second {};
  const std::string opened = source == "-" ? "/dev/stdin" : source;
  if (stat(opened.c_str(), &first) != 0 || stat(path.c_str(), &second) != 0) return;
  if (first.st_dev != second.st_dev || first.st_ino != second.st_ino) return;
  throw Failure(ExitCode::InvalidArguments, path + ": is the source, which would be overwritten");
}

}  // namespace

ExitCode List(const Arguments& arguments, const Environment& environment) {
  const std::string source = arguments.operands.empty() ? "board" : arguments.operands.front();
  const EepromContent content = Source(source, arguments, environment).Examine();
  if (arguments.Has("json")) {
    Print(ToJson(content), environment.output);
  } else {
    PrintText(content, environment.output);
  }
  return content.findings.empty() ? ExitCode::Success : ExitCode::Found;
}

ExitCode Check(const Arguments& arguments, const Environment& environment) {
  std::vector<std::string> sources = arguments.operands;
  if (sources.empty()) sources.emplace_back("board");
  ExitCode code = ExitCode::Success;
  Json contents = Json::array();
  for (const std::string& source : sources) {
    code = std::max(code, CheckOne(source, arguments, environment, contents));
  }
  if (!arguments.Has("json")) return code;
  if (sources.size() > 1) {
    Print(contents, environment.output);
    return code;
  }
  Json& only = contents.front();
  const bool isReadable = only["error"].is_null();
  only.erase("source");
  only.erase("error");
  Print(isReadable ? only : Json(), environment.output);
  return code;
}

ExitCode Extract(const Arguments& arguments, const Environment& environment) {
  const std::string& source = arguments.operands[0];
  const std::string& path = arguments.operands[2];
  const std::size_t index = ParseFileType(arguments.operands[1]);
  if (!ChipName::IsChip(source)) RefuseSameFile(source, path);
  const EepromContent content = Source(source, arguments, environment).Examine();
  if (!content.freeBytes) throw Failure(ExitCode::Failed, source + ": not 32768 bytes long");
  const FileContent& file = content.files[index];
  if (file.state != FileState::Stored) {
    throw Failure(ExitCode::Failed, FileTitle(index) + " is " + StateName(file.state));
  }
  if (path == "-") {
    Output(file.data, environment.output);
  } else {
    WriteBytes(path, file.data);
  }
  return ExitCode::Success;
}

ExitCode Diff(const Arguments& arguments, const Environment& environment) {
  Source left(arguments.operands[0], arguments, environment);
  Source right(arguments.operands[1], arguments, environment);
  const EepromContent leftContent = left.Examine();
  const EepromContent rightContent = right.Examine();
  if (!leftContent.freeBytes || !rightContent.freeBytes) {
    const std::size_t wrong = leftContent.freeBytes ? 1 : 0;
    throw Failure(ExitCode::Failed, arguments.operands[wrong] + ": not 32768 bytes long");
  }
  const std::vector<Difference> differences = Differences(leftContent, rightContent);
  if (arguments.Has("json")) {
    Print({{"same", differences.empty()}, {"differences", ToJson(differences)}}, environment.output);
  } else if (differences.empty() && HaveDifferentLayout(left, right)) {
    environment.output << "same content, different layout\n";
  } else {
    for (const Difference& difference : differences) environment.output << difference.text << '\n';
  }
  return differences.empty() ? ExitCode::Success : ExitCode::Found;
}

ExitCode Build(const Arguments& arguments, const Environment& environment) {
  const std::string& path = arguments.operands.front();
  const Changes changes = ReadChanges(arguments, environment);
  Bytes base = ErasedImage();
  if (const auto from = arguments.Value("from")) {
    Source source(*from, arguments, environment);
    source.Confirm(PageSet().set());  // an image has no unused bytes
    base = source.Content();
  }
  const Bytes image = Apply(changes, std::move(base)).content;
  if (path == "-") {
    Output(image, environment.output);
  } else {
    WriteAtomically(path, image);
  }
  return ExitCode::Success;
}
