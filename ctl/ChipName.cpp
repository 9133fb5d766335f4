#include "ctl/ChipName.h"

#include <algorithm>
#include <filesystem>

#include "content/Hexadecimal.h"
#include "ctl/Failure.h"
#include "ctl/ShellWord.h"
#include "eeprom/EEPromHelper.h"
#include "i2c/I2CBusHelper.h"
#include "i2c/LinuxI2CFactory.h"

namespace {

using EEPromHelper::EEPromLocation;

constexpr char BoardText[] = "board";
constexpr char NodePrefix[] = "/dev/i2c-";
constexpr char SysfsPrefix[] = "/sys/";

unsigned short DefaultSlave() {
  return EEPromHelper::SlaveAddress(EEPromLocation::BaseboardDefault);
}

unsigned short ParseSlave(const std::string& text) {
  for (unsigned short slave = 0x50; slave <= 0x57; ++slave) {
    if (text == Hex(slave, 2) || text == std::to_string(slave)) return slave;
  }
  throw Failure(ExitCode::InvalidArguments, "no address from 0x50 to 0x57: " + text);
}

std::string Absolute(const std::string& path) {
  std::error_code error;
  const std::filesystem::path absolute = std::filesystem::weakly_canonical(path, error);
  return error ? path : absolute.string();
}

// Fills in the adapter and the address if the path is that of a driver's file, as in
// "/sys/.../1-0056/eeprom".
void TakeDriverFile(ChipName& name, const std::filesystem::path& path) {
  constexpr std::size_t AddressSize = 4;
  const std::string device = path.parent_path().filename();
  const std::size_t dash = device.find('-');
  const bool isDevice = dash != std::string::npos && device.size() == dash + 1 + AddressSize;
  if (!name.file.starts_with(SysfsPrefix) || path.filename() != "eeprom" || !isDevice) return;
  name.node = LinuxI2CAdapter::AtNode(NodePrefix + device.substr(0, dash));
  if (!name.node) return;
  name.slave = ParseSlave("0x" + device.substr(dash + 3));
  name.file.clear();
}

}  // namespace

ChipName ChipName::Parse(const std::string& text, unsigned short boardSlave) {
  ChipName name;
  name.text = text;
  name.slave = boardSlave;
  if (text == BoardText) return name;
  if (text.starts_with(NodePrefix)) {
    const std::size_t at = text.find('@');
    name.node = LinuxI2CAdapter::AtNode(text.substr(0, at));
    if (!name.node) {
      throw Failure(ExitCode::InvalidArguments, "not /dev/i2c-N or /dev/i2c-N@ADDRESS: " + text);
    }
    name.slave = at == std::string::npos ? DefaultSlave() : ParseSlave(text.substr(at + 1));
    return name;
  }
  name.file = Absolute(text);
  TakeDriverFile(name, name.file);
  return name;
}

unsigned short ChipName::BoardSlave(const Arguments& arguments) {
  return arguments.Has("goldcrest") ? EEPromHelper::SlaveAddress(EEPromLocation::GoldcrestBaseboard)
                                    : DefaultSlave();
}

ChipName ChipName::Of(const Arguments& arguments) {
  const std::string text = arguments.Value("chip").value_or(BoardText);
  if (arguments.Has("goldcrest") && text != BoardText) {
    throw Failure(ExitCode::InvalidArguments, "either --chip or --goldcrest");
  }
  return Parse(text, BoardSlave(arguments));
}

bool ChipName::IsChip(const std::string& text) {
  return text == BoardText || text.starts_with(NodePrefix) || text.starts_with(SysfsPrefix);
}

std::optional<LinuxI2CAdapter> ChipName::Adapter() const {
  if (node || !file.empty()) return node;
  const LinuxI2CFactory factory;
  const auto controller = I2C::GetBusAddress(I2C::Bus::I2C4);
  const auto& candidates = factory.Candidates();
  const auto found = std::find_if(candidates.begin(), candidates.end(), [&](const auto& candidate) {
    return candidate.verdict == LinuxI2CFactory::Verdict::Found && candidate.address == controller;
  });
  if (found == candidates.end()) return std::nullopt;
  return LinuxI2CAdapter::AtNode(found->node.string());
}

bool ChipName::IsSameAs(const ChipName& other) const {
  if (!file.empty() || !other.file.empty()) return file == other.file;
  if (slave != other.slave) return false;
  if (text == other.text) return true;
  const auto mine = Adapter();
  const auto theirs = other.Adapter();
  return mine && theirs && mine->Node() == theirs->Node();
}

std::string ChipName::Options() const {
  if (text != BoardText) return "--chip=" + ShellWord(text);
  return slave == DefaultSlave() ? "" : "--goldcrest";
}
