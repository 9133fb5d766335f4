#include "i2c/LinuxI2CFactory.h"

#include <cstdlib>
#include <fstream>
#include <sstream>
#include <utility>

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

std::optional<std::string> LinuxI2CFactory::NameOf(const std::string& entry) {
  const fs::path nameFile = I2CDevicesPath / entry / I2CDeviceNameFile;
  std::error_code error;
  if (!fs::is_regular_file(nameFile, error)) return std::nullopt;
  return ReadText(nameFile);
}

void LinuxI2CFactory::LocateBuses() {
  candidates.clear();
  searchError.clear();
  fs::directory_iterator entry(I2CDevicesPath, searchError);
  while (!searchError && entry != fs::directory_iterator()) {
    Consider(*entry);
    entry.increment(searchError);
  }
}

void LinuxI2CFactory::Consider(const fs::directory_entry& entry) {
  Candidate candidate = {.entry = entry.path().filename(), .node = {}, .address = {}, .verdict = {}};
  candidate.node = fs::path(PlatformStrings::FilePaths::DevicesPath) / candidate.entry;
  candidate.verdict = Examine(entry, candidate);
  candidates.push_back(std::move(candidate));
}

LinuxI2CFactory::Verdict LinuxI2CFactory::Examine(const fs::directory_entry& entry, Candidate& candidate) {
  std::error_code error;
  if (!entry.is_directory(error)) return Verdict::NotADirectory;
  if (!fs::exists(candidate.node, error)) return Verdict::NoNode;
  const std::optional<std::string> name = NameOf(candidate.entry);
  if (!name) return Verdict::NoName;
  candidate.address = AddressIn(*name);
  if (!candidate.address) return Verdict::NoAddress;
  const auto& [known, isNew] = buses.try_emplace(*candidate.address, candidate.node);
  return isNew || known->second == candidate.node ? Verdict::Found : Verdict::Duplicate;
}

std::shared_ptr<I2CBus> LinuxI2CFactory::GetBus(unsigned long address) {
  const auto bus = buses.find(address);
  if (bus == buses.end()) return {};
  return std::make_shared<LinuxI2CMasterBus>(bus->second);
}
