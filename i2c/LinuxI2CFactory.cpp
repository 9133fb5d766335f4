#include "i2c/LinuxI2CFactory.h"

#include <cstdlib>
#include <fstream>
#include <sstream>
#include <system_error>

#include "i2c/LinuxI2CMasterBus.h"
#include "platform/PlatformStrings.h"

namespace fs = std::filesystem;

namespace {

const fs::path I2CDevicesPath = "/sys/bus/i2c/devices";
const fs::path I2CDeviceNameFile = "name";
const std::string I2CAddressPrefix = "I2C(0x";
const std::string I2CAddressSuffix = ")";

std::optional<std::string> ReadText(const fs::path& path) {
  std::ostringstream text;
  if (!(text << std::ifstream(path).rdbuf())) return std::nullopt;  // also when there is nothing to read
  return text.str();
}

}  // namespace

LinuxI2CFactory::LinuxI2CFactory() {
  LocateBuses();
}

const fs::path& LinuxI2CFactory::DevicesDirectory() {
  return I2CDevicesPath;
}

std::optional<unsigned long> LinuxI2CFactory::AddressIn(const std::string& name) {
  const auto prefix = name.find(I2CAddressPrefix);
  if (prefix == std::string::npos) return std::nullopt;
  const auto suffix = name.find(I2CAddressSuffix, prefix);
  if (suffix == std::string::npos) return std::nullopt;
  const auto digits = prefix + I2CAddressPrefix.size();
  return std::strtoull(name.substr(digits, suffix - digits).c_str(), nullptr, 16);
}

void LinuxI2CFactory::LocateBuses() {
  std::error_code error;
  fs::directory_iterator entry(I2CDevicesPath, error);
  while (!error && entry != fs::directory_iterator()) {
    AddBus(*entry);
    entry.increment(error);
  }
}

void LinuxI2CFactory::AddBus(const fs::directory_entry& entry) {
  std::error_code error;
  if (!entry.is_directory(error)) return;
  const fs::path node = fs::path(PlatformStrings::FilePaths::DevicesPath) / entry.path().filename();
  const fs::path nameFile = entry.path() / I2CDeviceNameFile;
  if (!fs::exists(node, error) || !fs::is_regular_file(nameFile, error)) return;
  const std::optional<std::string> name = ReadText(nameFile);
  if (!name) return;
  if (const auto address = AddressIn(*name)) buses.try_emplace(*address, node);
}

std::shared_ptr<I2CBus> LinuxI2CFactory::GetBus(unsigned long address) {
  const auto bus = buses.find(address);
  if (bus == buses.end()) return {};
  return std::make_shared<LinuxI2CMasterBus>(bus->second);
}
