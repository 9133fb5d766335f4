#include "board/BoardOptions.h"

#include <getopt.h>

#include <array>
#include <charconv>
#include <string_view>

#include "board/BoardError.h"

namespace {

constexpr char Help[] =
    R"(Usage: brindle-board [OPTION]... IMAGE -- COMMAND [ARGUMENT]...

Runs COMMAND on an emulated board: it finds the I2C adapters of an STM32MP2 in /sys/bus/i2c/devices and their
nodes /dev/i2c-N, and a CAT24C256 EEPROM answers at address 0x56 of /dev/i2c-5. IMAGE is the file with the
EEPROM's memory; if it is missing or empty, it is created as an erased EEPROM. Only COMMAND and its children
see the board.

  --address ADDRESS      slave address of the EEPROM (0x56)
  --kind KIND            24c256 (default) or 24c16
  --second FILE          a second CAT24C256 at address 0x52, with its memory in FILE
  --write-cycle US       length of the EEPROM's write cycle in microseconds (5000)
  --refusal NAME         error of a message that no chip acknowledges: ENXIO (default) or EREMOTEIO
  --clock HZ             messages take as long as on a bus of this clock rate (default: no time)
  --adapter KIND         what the adapters perform: i2c (default) or smbus, SMBus transactions alone
  --max-write BYTES      longest message that the adapters send; a longer one fails with EOPNOTSUPP
  --claim ADDRESS[:PAGE] a kernel driver is bound to ADDRESS on every bus: I2C_SLAVE fails with EBUSY. An
                         EEPROM has the at24 driver's file /sys/bus/i2c/devices/5-00AA/eeprom, whose writes are
                         PAGE bytes long at most (default, and 0: the EEPROM's page)
  --fault FAULT          what goes wrong, see below; at most four
  --trace FILE           write a line for every call and every message to FILE
  --help                 show this text
  --version              show the version

FAULT is KIND:FIRST[:COUNT[:PARAMETER]]. It strikes COUNT (default 1, 0 for ever) messages to the EEPROM in
IMAGE, from number FIRST (1 is the first) on:
  refuse         not acknowledged
  refuse-late    a read is refused after the address counter has advanced; a write as with refuse
  short          ends after PARAMETER bytes
  flip           bit PARAMETER % 8 of byte PARAMETER / 8 flips on the wire
  drop           the data of a write is acknowledged but not stored
  stuck          the address counter does not advance during the message
  foreign        another master has set the address counter to PARAMETER just before
or COUNT page writes from number FIRST on, after which the EEPROM does not answer any more:
  power-nothing  the power fails before anything of the page is stored
  power-first    the power fails when PARAMETER bytes of the page are stored
  power-groups   the power fails when only those groups of four bytes are stored whose bits PARAMETER sets
  power-anything the power fails when the whole page is erased, or with PARAMETER > 0 holds bytes made from it

Lines of the trace: TIME is in seconds of the monotonic clock, for a call when it began; a call follows its
messages. BUS is i2c-N, or for a driver's files N-00AA/eeprom, DRIVER/bind or DRIVER/unbind. OPEN numbers the
opens of a file. PID is 0 for a close. BYTES are hexadecimal digits, - for none. A negative RESULT is followed by
its name.
  TIME PID BUS OPEN open = RESULT
  TIME PID BUS OPEN close = RESULT
  TIME PID BUS OPEN read|write LENGTH = RESULT
  TIME PID BUS OPEN ioctl REQUEST ARGUMENT = RESULT
  TIME PID BUS OPEN sent|received ADDRESS LENGTH BYTES = RESULT
  TIME chip ADDRESS messages N refused N busy N bytes N page-writes N met N    (at the end, for each chip)

The exit code is COMMAND's, or 128 + N if signal N ended it. The board itself ends with 123 if this machine
lacks /dev/fuse or refuses the namespace, 125 on any other failure, 126 if COMMAND cannot be executed, and 127
if it does not exist.
)";

constexpr std::uint64_t MaxPage = 128;  // what the at24 driver transfers at once

std::uint64_t ParseNumber(const std::string& what, std::string_view text, std::uint64_t most) {
  const bool hexadecimal = text.starts_with("0x");
  const std::string_view digits = hexadecimal ? text.substr(2) : text;
  std::uint64_t value = 0;
  const auto [end, error] =
      std::from_chars(digits.data(), digits.data() + digits.size(), value, hexadecimal ? 16 : 10);
  if (error != std::errc{} || end != digits.data() + digits.size() || value > most) {
    throw BoardError(what + ": '" + std::string(text) + "' is no number from 0 to " + std::to_string(most));
  }
  return value;
}

unsigned int ParseAddress(const std::string& what, std::string_view text) {
  return static_cast<unsigned int>(ParseNumber(what, text, 0x7F));
}

// The text is ADDRESS[:PAGE].
void ParseClaim(BoardOptions& options, std::string_view text) {
  const std::size_t colon = text.find(':');
  const unsigned int address = ParseAddress("--claim", text.substr(0, colon));
  options.claimed.insert(address);
  if (colon == std::string_view::npos) return;
  options.driverPages[address] = ParseNumber("--claim", text.substr(colon + 1), MaxPage);
}

chip_fault ParseFault(const std::string& text) {
  chip_fault fault{};
  const char* const rest = chip_fault_parse(text.c_str(), &fault);
  if (!rest || *rest != '\0') {
    throw BoardError("--fault: '" + text + "' is no KIND:FIRST[:COUNT[:PARAMETER]]; see --help");
  }
  return fault;
}

chip_kind ParseKind(std::string_view text) {
  if (text == "24c256") return CHIP_CAT24C256;
  if (text == "24c16") return CHIP_CAT24C16;
  throw BoardError("--kind: '" + std::string(text) + "' is neither 24c256 nor 24c16");
}

int ParseRefusal(std::string_view text) {
  if (text == "ENXIO") return -ENXIO;
  if (text == "EREMOTEIO") return -EREMOTEIO;
  throw BoardError("--refusal: '" + std::string(text) + "' is neither ENXIO nor EREMOTEIO");
}

bool ParseSmbusOnly(std::string_view text) {
  if (text != "i2c" && text != "smbus") {
    throw BoardError("--adapter: '" + std::string(text) + "' is neither i2c nor smbus");
  }
  return text == "smbus";
}

constexpr std::array<option, 14> LongOptions{{{"address", required_argument, nullptr, 0},
                                              {"kind", required_argument, nullptr, 0},
                                              {"second", required_argument, nullptr, 0},
                                              {"write-cycle", required_argument, nullptr, 0},
                                              {"refusal", required_argument, nullptr, 0},
                                              {"clock", required_argument, nullptr, 0},
                                              {"adapter", required_argument, nullptr, 0},
                                              {"max-write", required_argument, nullptr, 0},
                                              {"claim", required_argument, nullptr, 0},
                                              {"fault", required_argument, nullptr, 0},
                                              {"trace", required_argument, nullptr, 0},
                                              {"help", no_argument, nullptr, 0},
                                              {"version", no_argument, nullptr, 0},
                                              {}}};

void Apply(BoardOptions& options, std::string_view name, const std::string& value) {
  if (name == "address") options.address = ParseAddress("--address", value);
  if (name == "kind") options.kind = ParseKind(value);
  if (name == "second") options.secondImage = value;
  if (name == "write-cycle") options.writeCycle = ParseNumber("--write-cycle", value, 1000000000) * 1000;
  if (name == "refusal") options.refusal = ParseRefusal(value);
  if (name == "clock") options.clock = ParseNumber("--clock", value, 5000000);
  if (name == "adapter") options.limits.smbusOnly = ParseSmbusOnly(value);
  if (name == "max-write") options.limits.maxWrite = ParseNumber("--max-write", value, 0xFFFF);
  if (name == "claim") ParseClaim(options, value);
  if (name == "fault") options.faults.push_back(ParseFault(value));
  if (name == "trace") options.trace = value;
  if (name == "help") options.answer = Help;
  if (name == "version") options.answer = "brindle-board " BRINDLE_VERSION "\n";
}

}  // namespace

BoardOptions BoardOptions::Parse(int count, char** arguments) {
  BoardOptions options;
  opterr = 0;
  int index = 0;
  for (int found = 0;
       (found = getopt_long(count, arguments, "+:", LongOptions.data(), &index)) != -1 && !options.answer;) {
    if (found == '?') throw BoardError(std::string(arguments[optind - 1]) + ": no such option; see --help");
    if (found == ':') throw BoardError(std::string(arguments[optind - 1]) + " needs a value; see --help");
    Apply(options, LongOptions.at(static_cast<std::size_t>(index)).name, optarg ? optarg : "");
  }
  if (options.answer) return options;
  if (options.faults.size() > CHIP_FAULTS) throw BoardError("at most four --fault options; see --help");
  if (count - optind < 3 || std::string_view(arguments[optind + 1]) != "--") {
    throw BoardError("expected IMAGE -- COMMAND [ARGUMENT]... after the options; see --help");
  }
  options.image = arguments[optind];
  options.command = arguments + optind + 2;
  return options;
}
