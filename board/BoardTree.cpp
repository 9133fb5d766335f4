#include "board/BoardTree.h"

#include <filesystem>
#include <fstream>

#include "board/BoardError.h"
#include "board/PrivateMounts.h"

namespace fs = std::filesystem;

namespace {

fs::path const Bus = "/sys/bus/i2c";
fs::path const Class = "/sys/class/i2c-dev";
fs::path const Nodes = "/dev";

std::string AdapterName(unsigned int number) {
  return "i2c-" + std::to_string(number);
}

void WriteFile(fs::path const& path, std::string const& text) {
  std::ofstream file(path);
  file << text << std::flush;
  if (!file) throw BoardError(path.string() + ": can't be written");
}

// A device is a directory somewhere else; the bus lists a link to it.
void AddDevice(fs::path const& parent, std::string const& entry, std::string const& name) {
  fs::path const device = fs::path("adapters") / parent / entry;
  fs::create_directories(Bus / device);
  WriteFile(Bus / device / "name", name + "\n");
  fs::create_symlink(".." / device, Bus / "devices" / entry);
}

}  // namespace

void BoardTree::Build() try {
  PrivateMounts::MakeEmptyDirectory(Bus);
  PrivateMounts::MakeEmptyDirectory(Class);
  // The nodes of the machine's own buses must not be within reach. /dev/ptmx works only in the directory of
  // its pts; as a bound file it would not, but a link to the one in pts does.
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
  // A clock chip on the EEPROM's bus: a device of the bus that is no adapter and has no node.
  std::string const eepromBus = AdapterName(EepromBus);
  AddDevice(fs::path("40150000.i2c") / eepromBus, std::to_string(EepromBus) + "-0068", "ds1307");
} catch (fs::filesystem_error const& error) {
  throw BoardError(error.what());
}

std::string BoardTree::NodePath(unsigned int number) {
  return Nodes / AdapterName(number);
}
