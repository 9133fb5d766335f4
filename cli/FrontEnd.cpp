#include "cli/FrontEnd.h"

#include <algorithm>
#include <cctype>
#include <charconv>
#include <iterator>
#include <optional>
#include <span>
#include <stdexcept>
#include <string_view>
#include <utility>

#include "eeprom/PosixEEpromHandler.h"
#include "platform/ExitCode.h"
#include "platform/SignalHold.h"

namespace {

using File = EEPromHandler::FilesInEEProm;
using Location = EEPromHelper::EEPromLocation;

constexpr int Success = static_cast<int>(ExitCode::Success);
constexpr int OperationFailed = static_cast<int>(ExitCode::Failed);
constexpr int NotAccessible = static_cast<int>(ExitCode::NotAccessible);
constexpr int InvalidArguments = static_cast<int>(ExitCode::InvalidArguments);

constexpr std::string_view ReadFlag = "/R";
constexpr std::string_view WriteFlag = "/W";
constexpr std::string_view EraseFlag = "/E";
constexpr std::string_view VerifyFlag = "/V";
constexpr std::string_view BoardSetFlag = "/BS";
constexpr std::string_view DeveloperSetFlag = "/DS";
constexpr std::string_view ReadBoardInfoFlag = "/RBI";
constexpr std::string_view ReadAllFlag = "/RA";
constexpr std::string_view WriteAllFlag = "/WA";
constexpr std::string_view VerifyAllFlag = "/VA";
constexpr std::string_view Goldcrest = "Goldcrest";

// Positions and counts include the program name.
constexpr std::size_t CommandArgument = 1;
constexpr std::size_t ValueArgument = 2;  // file type, path or value text
constexpr std::size_t FilePathArgument = 3;
constexpr std::size_t BaseboardArgument = 3;
constexpr std::size_t SmallestCount = 2;

constexpr unsigned short RevisionAddress = EEPromHelper::BoardTypeSetAddress;
constexpr unsigned short FlagAddress = EEPromHelper::DeveloperByteSetAddress;

// What a checked command line asks for.
struct Request {
  File file = File::PeripheralConfig;
  Location location = Location::BaseboardDefault;
  const char* value = "";  // host path or value text, as typed
};

struct Command {
  std::string_view word;
  std::size_t expectedCount;  // 4: takes a file type before the path
  bool writes;                // into the EEPROM
  bool (*run)(PosixEEpromHandler& store, const Request& request);
};

// The run functions take the store and the request.
const Command Commands[] = {
    {ReadFlag, 4, false, [](auto& s, auto& r) { return s.Read(r.file, r.value); }},
    {WriteFlag, 4, true, [](auto& s, auto& r) { return s.Write(r.file, r.value); }},
    {EraseFlag, 2, true, [](auto& s, auto&) { return s.Erase(); }},
    {VerifyFlag, 4, false, [](auto& s, auto& r) { return s.Verify(r.file, r.value); }},
    {BoardSetFlag, 3, true, [](auto& s, auto& r) { return s.BaseboardIdSet(RevisionAddress, r.value); }},
    {DeveloperSetFlag, 3, true, [](auto& s, auto& r) { return s.DeveloperBoardSet(FlagAddress, r.value); }},
    {ReadBoardInfoFlag, 3, false, [](auto& s, auto& r) { return s.ReadBoardInformation(r.value); }},
    {ReadAllFlag, 3, false, [](auto& s, auto& r) { return s.ReadAll(r.value); }},
    {WriteAllFlag, 3, true, [](auto& s, auto& r) { return s.WriteAll(r.value); }},
    {VerifyAllFlag, 3, false, [](auto& s, auto& r) { return s.VerifyAll(r.value); }},
};

void PrintUsage(std::ostream& output) {
  output << "Reads or Writes file contents from/to EEPROM\n"
            "See Using the Brindle in Confluence\n\n"
            "Brindle /E\n"
            "\t E - Erase all EEPROM\n\n"
            "Brindle (/R | /W | /V) (1 | 2 | 3) /FileAbsolutePath\n"
            "\t R - Read from EEPROM\n"
            "\t W - Write to EEPROM\n"
            "\t V - Verify input file content against written file content\n"
            "\t 1 - Peripheral configuration file\n\n"
            "\t 2 - Upgrade file\n\n"
            "\t 3 - Board configuration file\n\n"
            "Brindle (/RA | /WA | /VA) /FileAbsolutePath\n"
            "\t RA - Read All from EEPROM\n"
            "\t WA - Write All to EEPROM\n"
            "\t VA - Verify input file content against eeprom content\n\n"
            "Brindle /BS (BaseboardRev#) <Goldcrest|Baseboard-default>-optional\n"
            "\t BS - Set Baseboard Revision\n"
            "\t BaseboardRev# - current baseboards can be found in confluence\n\n"
            "Brindle /DS (1 | 0)\n"
            "\t DS - set Developer Board Enable\\Disable\n"
            "\t 1 - Enable Developer Board\n"
            "\t 0 - Disable Developer Board\n\n"
            "Brindle /RBI /FileAbsolutePath\n"
            "\t RBI - read board info\n"
            "\t will read out first page of EEPROM data\n\n";
}

int RefuseMissingCommand(std::ostream& output) {
  output << "Missing minimum required command line arguments. Exiting..." << std::endl;
  PrintUsage(output);
  return InvalidArguments;
}

int RefuseArguments(std::ostream& output, std::size_t expected, std::size_t received) {
  output << "Missing required command line arguments, expected: " << expected << ", received: " << received
         << " or unknown command. Exiting..." << std::endl;
  PrintUsage(output);
  return InvalidArguments;
}

int RefuseValue(std::ostream& output, const char* name) {
  output << name << " is incorrect. Exiting...\n\n";
  PrintUsage(output);
  return InvalidArguments;
}

int ReportNotAccessible(std::ostream& output) {
  output << "EEPROM not accessible" << std::endl;
  return NotAccessible;
}

int ReportResult(std::ostream& output, bool succeeded) {
  output << (succeeded ? "EEPROM read/write complete." : "EEPROM read/write failed.") << std::endl;
  return succeeded ? Success : OperationFailed;
}

const Command* FindCommand(std::string_view typed) {
  const auto matches = [](char character, char expected) {
    return std::toupper(static_cast<unsigned char>(character)) == expected;
  };
  const auto* const found =
      std::find_if(std::begin(Commands), std::end(Commands), [&](const Command& command) {
        return std::equal(typed.begin(), typed.end(), command.word.begin(), command.word.end(), matches);
      });
  return found == std::end(Commands) ? nullptr : found;
}

std::optional<File> ParseFileType(std::string_view text) {
  int number = 0;
  const auto isDigit = [](char character) { return character >= '0' && character <= '9'; };
  if (!std::all_of(text.begin(), text.end(), isDigit)) return std::nullopt;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
  if (error != std::errc() || number < 1 || number > 3) return std::nullopt;
  return static_cast<File>(number - 1);
}

// Returns no value when the file type is none.
std::optional<Request> ParseRequest(const Command& command, std::span<const char* const> arguments) {
  Request request;
  if (command.expectedCount > FilePathArgument) {
    const auto file = ParseFileType(arguments[ValueArgument]);
    if (!file) return std::nullopt;
    request.file = *file;
    request.value = arguments[FilePathArgument];
  } else if (arguments.size() > ValueArgument) {
    request.value = arguments[ValueArgument];
  }
  if (command.word == BoardSetFlag && arguments.size() > BaseboardArgument &&
      arguments[BaseboardArgument] == Goldcrest) {
    request.location = Location::GoldcrestBaseboard;
  }
  return request;
}

// Returns null when the store has no EEPROM or could not be built.
std::unique_ptr<PosixEEpromHandler> OpenStore(Location location, const BusSource& getBus) try {
  auto store = std::make_unique<PosixEEpromHandler>(location, getBus());
  return store->IsEEPromAccessible() ? std::move(store) : nullptr;
} catch (...) {
  return nullptr;
}

int RunOperation(const Command& command, const Request& request, PosixEEpromHandler& store,
                 std::ostream& output) try {
  std::optional<SignalWindow> window;
  if (!command.writes) window.emplace();
  return ReportResult(output, command.run(store, request));
} catch (const std::logic_error&) {
  if (command.word == BoardSetFlag) return RefuseValue(output, "BaseboardRev#");
  return ReportResult(output, false);
} catch (...) {
  return ReportResult(output, false);
}

}  // namespace

int FrontEnd(int argc, const char* const* argv, std::ostream& output, const BusSource& getBus) {
  const std::span arguments(argv, static_cast<std::size_t>(argc));
  if (arguments.size() < SmallestCount) return RefuseMissingCommand(output);
  const Command* const command = FindCommand(arguments[CommandArgument]);
  const std::size_t expected = command != nullptr ? command->expectedCount : SmallestCount;
  if (command == nullptr || arguments.size() < expected) {
    return RefuseArguments(output, expected, arguments.size());
  }
  const std::optional<Request> request = ParseRequest(*command, arguments);
  if (!request) return RefuseValue(output, "FileType");

  const SignalHold hold;
  const auto store = OpenStore(request->location, getBus);
  if (!store) return ReportNotAccessible(output);
  return RunOperation(*command, *request, *store, output);
}
