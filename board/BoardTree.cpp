#include "board/BoardTree.h"

#include <array>
#include <cstdio>
#include <filesystem>
#include <fstream>

#include "board/BoardError.h"
#include "board/PrivateMounts.h"

namespace fs = std::filesystem;

namespace {

fs::path const Bus = "/sys/bus/i2c";
fs::path const Class = "/sys/class/i2c-dev";
fs::path const Nodes = "/dev";

constexpr unsigned int ClockAddress = 0x68;

std::string AdapterName(unsigned int number) {
  return "i2c-" + std::to_string(number);
}

void WriteFile(fs::path const& path, std::string const& text) {
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
void AddDevice(fs::path const& parent, std::string const& entry, std::string const& name) {
  fs::path const device = fs::path("adapters") / parent / entry;
  fs::create_directories(Bus / device);
  WriteFile(Bus / device / "name", name + "\n");
  fs::create_symlink(".." / device, Bus / "devices" / entry);
}

// Binds a driver to the device at this address, which is created if the adapter has none there.
void Claim(BoardTree::Adapter const& adapter, unsigned int address) {
  std::string const entry = DeviceName(adapter.number, address);
  fs::path const device = Bus / "devices" / entry;
  if (!fs::exists(device)) AddDevice(fs::path(adapter.parent) / AdapterName(adapter.number), entry, "24c256");
  fs::path const driver = fs::path("drivers") / (address == ClockAddress ? "rtc-ds1307" : "at24");
  fs::create_directories(Bus / driver);
  WriteFile(Bus / driver / "unbind", "");
  fs::create_symlink("../../../.." / driver, device / "driver");
}

}  // namespace

void BoardTree::Build(std::set<unsigned int> const& claimed) try {
  PrivateMounts::MakeEmptyDirectory(Bus);
  PrivateMounts::MakeEmptyDirectory(Class);
  // The command must not reach the nodes of the machine's own buses. A bound /dev/ptmx would not work outside
  // the directory of its pts, but a link to the one in pts does.
  PrivateMounts::CoverKeeping(Nodes, [](std::string const& name) {
    return name.starts_with("i2c-") || (name == "ptmx" && fs::exists("/dev/pts/ptmx"));
  });
  if (fs::exists(Nodes / "pts/ptmx")) fs::create_symlink("pts/ptmx", Nodes / "ptmx");

  fs::create_directory(Bus / "devices");
  for (Adapter const& adapter : Adapters) {
    std::string const entry = AdapterName(adapter.number);
    AddDevice(adapter.parent, entry, adapter.name);
    fs::create_symlink("../../bus/i2c/devices/" + entry, Class / entry);
    WriteFile(NodePath(adapter.number), "");
  }
  // A clock chip on the EEPROM's bus: an entry in the list that is no adapter and has no node.
  AddDevice(fs::path("40150000.i2c") / AdapterName(EepromBus), DeviceName(EepromBus, ClockAddress), "ds1307");
  for (Adapter const& adapter : Adapters)
    for (unsigned int const address : claimed) Claim(adapter, address);
} catch (fs::filesystem_error const& error) {
  throw BoardError(error.what());
}

bool BoardTree::IsClaimed(unsigned int number, unsigned int address) {
  fs::path const device = Bus / "devices" / DeviceName(number, address);
  fs::path const driver = device / "driver";
  std::error_code error;
  if (!fs::is_symlink(driver, error)) return false;
  std::string unbound;
  std::ifstream(driver / "unbind") >> unbound;
  return device.filename() != unbound || !fs::remove(driver, error);
}

std::string BoardTree::NodePath(unsigned int number) {
  return Nodes / AdapterName(number);
}
