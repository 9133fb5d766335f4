#include "board/BoardTree.h"

#include <array>
#include <cstdio>
#include <filesystem>
#include <fstream>

#include "board/BoardError.h"
#include "board/PrivateMounts.h"

namespace fs = std::filesystem;

namespace {

const fs::path Bus = "/sys/bus/i2c";
const fs::path Class = "/sys/class/i2c-dev";
const fs::path Nodes = "/dev";

constexpr unsigned int ClockAddress = 0x68;

std::string AdapterName(unsigned int number) {
  return "i2c-" + std::to_string(number);
}

void WriteFile(const fs::path& path, const std::string& text) {
  std::ofstream file(path);
  file << text << std::flush;
  if (!file) throw BoardError(path.string() + ": cannot be written");
}

std::string DeviceName(unsigned int number, unsigned int address) {
  std::array<char, 16> name{};
  std::snprintf(name.data(), name.size(), "%u-%04x", number, address);
  return name.data();
}

// Creates the directory of a device and the link to it in the bus's list.
void AddDevice(const fs::path& parent, const std::string& entry, const std::string& name) {
  const fs::path device = fs::path("adapters") / parent / entry;
  fs::create_directories(Bus / device);
  WriteFile(Bus / device / "name", name + "\n");
  fs::create_symlink(".." / device, Bus / "devices" / entry);
}

// Binds a driver to the device at this address, which is created if the adapter has none there.
void Claim(const BoardTree::Adapter& adapter, unsigned int address) {
  const std::string entry = DeviceName(adapter.number, address);
  const fs::path device = Bus / "devices" / entry;
  if (!fs::exists(device)) AddDevice(fs::path(adapter.parent) / AdapterName(adapter.number), entry, "24c256");
  const fs::path driver = fs::path("drivers") / (address == ClockAddress ? "rtc-ds1307" : "at24");
  fs::create_directories(Bus / driver);
  WriteFile(Bus / driver / "unbind", "");
  fs::create_symlink("../../../.." / driver, device / "driver");
}

}  // namespace

void BoardTree::Build(const std::set<unsigned int>& claimed) try {
  PrivateMounts::MakeEmptyDirectory(Bus);
  PrivateMounts::MakeEmptyDirectory(Class);
  // The command must not reach the nodes of the machine's own buses. A bound /dev/ptmx would not work outside
  // the directory of its pts, but a link to the one in pts does.
  PrivateMounts::CoverKeeping(Nodes, [](const std::string& name) {
    return name.starts_with("i2c-") || (name == "ptmx" && fs::exists("/dev/pts/ptmx"));
  });
  if (fs::exists(Nodes / "pts/ptmx")) fs::create_symlink("pts/ptmx", Nodes / "ptmx");

  fs::create_directory(Bus / "devices");
  for (const Adapter& adapter : Adapters) {
    const std::string entry = AdapterName(adapter.number);
    AddDevice(adapter.parent, entry, adapter.name);
    fs::create_symlink("../../bus/i2c/devices/" + entry, Class / entry);
    WriteFile(NodePath(adapter.number), "");
  }
  // A clock chip on the EEPROM's bus: an entry in the list that is no adapter and has no node.
  AddDevice(fs::path("40150000.i2c") / AdapterName(EepromBus), DeviceName(EepromBus, ClockAddress), "ds1307");
  for (const Adapter& adapter : Adapters) {
    for (const unsigned int address : claimed) Claim(adapter, address);
  }
} catch (const fs::filesystem_error& error) {
  throw BoardError(error.what());
}

bool BoardTree::IsClaimed(unsigned int number, unsigned int address) {
  const fs::path device = Bus / "devices" / DeviceName(number, address);
  const fs::path driver = device / "driver";
  std::error_code error;
  if (!fs::is_symlink(driver, error)) return false;
  std::string unbound;
  std::ifstream(driver / "unbind") >> unbound;
  return device.filename() != unbound || !fs::remove(driver, error);
}

std::string BoardTree::NodePath(unsigned int number) {
  return Nodes / AdapterName(number);
}
