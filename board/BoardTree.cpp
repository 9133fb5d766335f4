#include "board/BoardTree.h"

#include <sys/mount.h>
#include <unistd.h>

#include <array>
#include <cerrno>
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

// Creates the directory of a device and the link to it in the bus's list.
void AddDevice(const fs::path& parent, const std::string& entry, const std::string& name) {
  const fs::path device = fs::path("adapters") / parent / entry;
  fs::create_directories(Bus / device);
  WriteFile(Bus / device / "name", name + "\n");
  fs::create_symlink(".." / device, Bus / "devices" / entry);
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
    for (const unsigned int address : claimed) {
      const std::string entry = DeviceName(adapter.number, address);
      if (fs::exists(Bus / "devices" / entry)) continue;
      AddDevice(fs::path(adapter.parent) / AdapterName(adapter.number), entry, "24c256");
    }
  }
} catch (const fs::filesystem_error& error) {
  throw BoardError(error.what());
}

std::string BoardTree::NodePath(unsigned int number) {
  return Nodes / AdapterName(number);
}

std::string BoardTree::DeviceName(unsigned int number, unsigned int address) {
  std::array<char, 16> name{};
  std::snprintf(name.data(), name.size(), "%u-%04x", number, address);
  return name.data();
}

std::string BoardTree::DriverName(unsigned int address) {
  return address == ClockAddress ? "rtc-ds1307" : "at24";
}

std::string BoardTree::AddFile(const std::string& folder, const std::string& name) {
  fs::create_directories(Bus / folder);
  WriteFile(Bus / folder / name, "");
  return Bus / folder / name;
}

int BoardTree::SetBound(const std::string& driver, const std::string& device, bool bound) {
  const fs::path link = Bus / "devices" / device / "driver";
  const fs::path eeprom = Bus / "devices" / device / "eeprom";
  std::error_code error;
  if (!bound) {
    umount2(eeprom.c_str(), MNT_DETACH);
    unlink(eeprom.c_str());
    return fs::remove(link, error) ? 0 : -ENODEV;
  }
  fs::create_symlink("../../../../drivers/" + driver, link, error);
  if (error) return -EBUSY;
  if (!fs::exists(Bus / "eeproms" / device, error)) return 0;
  WriteFile(eeprom, "");
  const fs::path served = Bus / "eeproms" / device / "eeprom";
  return mount(served.c_str(), eeprom.c_str(), nullptr, MS_BIND, nullptr) == 0 ? 0 : -errno;
}

bool BoardTree::IsClaimed(unsigned int number, unsigned int address) {
  std::error_code error;
  return fs::is_symlink(Bus / "devices" / DeviceName(number, address) / "driver", error);
}
