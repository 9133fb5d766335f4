#include <fcntl.h>
#include <grp.h>
#include <pwd.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <fstream>
#include <sstream>

#include "ctl/Commands.h"
#include "ctl/Journal.h"
#include "ctl/Json.h"
#include "ctl/Report.h"
#include "ctl/Source.h"
#include "eeprom/STM32MP2EepromBus.h"
#include "i2c/I2CBusHelper.h"
#include "i2c/LinuxI2CFactory.h"
#include "platform/DirectoryLock.h"

namespace {

namespace fs = std::filesystem;

struct Finding {
  const char* id;
  std::string text;
  std::string remedy;  // a command line or an advice; empty when nothing is wrong
};

bool IsWell(const std::vector<Finding>& findings) {
  return std::all_of(findings.begin(), findings.end(),
                     [](const Finding& finding) { return finding.remedy.empty(); });
}

std::string FirstLine(const fs::path& path) {
  std::ifstream file(path);
  std::string line;
  std::getline(file, line);
  return line;
}

std::string UserName(uid_t user) {
  const passwd* const entry = getpwuid(user);
  return entry == nullptr ? std::to_string(user) : entry->pw_name;
}

std::string GroupName(gid_t group) {
  const ::group* const entry = getgrgid(group);
  return entry == nullptr ? std::to_string(group) : entry->gr_name;
}

// The process that took a lock (flock) on the directory; empty when the kernel does not tell, or when only a
// child that inherited the lock is left.
std::string LockHolder(const fs::path& directory) {
  struct stat status {};
  char place[64];
  if (stat(directory.c_str(), &status) != 0) return {};
  std::snprintf(place, sizeof place, "%02x:%02x:%lu", major(status.st_dev), minor(status.st_dev),
                static_cast<unsigned long>(status.st_ino));
  std::ifstream locks("/proc/locks");
  for (std::string line; std::getline(locks, line);) {
    std::istringstream words(line);
    std::string number, kind, isMandatory, access, process, locked;
    words >> number >> kind >> isMandatory >> access >> process >> locked;
    if (kind == "FLOCK" && locked == place && fs::exists("/proc/" + process)) return process;
  }
  return {};
}

// Goes the way that Brindle goes to the chip, from the kernel's list of adapters to a one-byte read, and
// collects what it finds. Nothing that is wrong ends it; the chip is asked when everything before is right.
class Examination final {
 public:
  explicit Examination(unsigned short chipAddress) : slave(chipAddress), name("0x" + Hex(slave).substr(4)) {}

  std::vector<Finding> Run() {
    if (const std::string adapter = FindAdapter(); !adapter.empty()) {
      Ok("adapter", "the EEPROM's controller is " + adapter);
      ExamineNode("/dev/" + adapter);
      ExamineDriver(adapter.substr(adapter.find('-') + 1));
    }
    ReserveBoard();
    if (IsWell(findings)) AskChip();
    LookForJournal();
    return std::move(findings);
  }

 private:
  void Ok(const char* id, const std::string& text) { findings.push_back({id, text, ""}); }
  void Cause(const char* id, const std::string& text, const std::string& remedy) {
    findings.push_back({id, text, remedy});
  }

  // The name of the EEPROM's adapter in the kernel's list, as in "i2c-5"; empty when there is none.
  std::string FindAdapter() {
    const unsigned long controller = *I2C::GetBusAddress(I2C::Bus::I2C4);
    std::string others;
    std::error_code error;
    for (const auto& entry : fs::directory_iterator(LinuxI2CFactory::DevicesDirectory(), error)) {
      std::string adapter = entry.path().filename();
      if (!adapter.starts_with("i2c-")) continue;
      const std::string text = FirstLine(entry.path() / "name");
      if (LinuxI2CFactory::AddressIn(text) == controller) return adapter;
      others.append("; there is ").append(adapter).append(", ").append(text);
    }
    if (error) {
      Cause("kernel", "the kernel has no I2C: no " + LinuxI2CFactory::DevicesDirectory().string(),
            "use a kernel with CONFIG_I2C and the driver of the board's I2C controllers");
    } else {
      Cause("adapter", "no adapter has the address " + Hex(static_cast<unsigned int>(controller)) + others,
            "enable the controller in the device tree, and its driver in the kernel");
    }
    return {};
  }

  void ExamineNode(const std::string& node) {
    struct stat status {};
    if (stat(node.c_str(), &status) != 0) {
      return Cause("node", "the adapter has no " + node + ": i2c-dev is not loaded", "modprobe i2c-dev");
    }
    const std::string owner = UserName(status.st_uid) + ":" + GroupName(status.st_gid);
    const int fd = open(node.c_str(), O_RDWR | O_CLOEXEC);
    if (fd >= 0) {
      close(fd);
      return Ok("node", node + " can be opened; it belongs to " + owner);
    }
    if (errno != EACCES) {
      return Cause("node", node + ": " + std::strerror(errno),
                   "look into the kernel's messages (dmesg), and into the limits of this process");
    }
    const std::string user = UserName(geteuid());
    constexpr mode_t GroupAccess = S_IRGRP | S_IWGRP;
    const bool hasGroup = status.st_gid != 0 && (status.st_mode & GroupAccess) == GroupAccess;
    const std::string join = "usermod --append --groups " +
                             (hasGroup ? GroupName(status.st_gid) : std::string("brindle")) + " " + user;
    Cause("permission",
          user + " may not open " + node + ", which belongs to " + owner +
              "; a new group takes effect at the next login",
          hasGroup ? join
                   : "groupadd --system --force brindle && " + join +
                         " && cp " BRINDLE_EXAMPLES_DIR "/70-brindle.rules /etc/udev/rules.d/ && "
                         "udevadm control --reload && udevadm trigger --settle " +
                         node);
  }

  void ExamineDriver(const std::string& bus) {
    const std::string device = bus + "-" + Hex(slave).substr(2);
    const fs::path link = LinuxI2CFactory::DevicesDirectory() / device / "driver";
    std::error_code error;
    const std::string driver = fs::read_symlink(link, error).filename();
    if (error) return Ok("driver", "no driver of the kernel holds " + name);
    Cause("driver", "the kernel's driver " + driver + " holds " + name + " (" + device + ")",
          "echo " + device + " >/sys/bus/i2c/drivers/" + driver + "/unbind");
  }

  // As long as the examination lasts, so that the chip is not asked in the middle of another process's read.
  void ReserveBoard() {
    const fs::path& devices = LinuxI2CFactory::DevicesDirectory();
    isReserved = reservation.Acquire(devices, 0);
    if (isReserved) return Ok("lock", "no other process holds the board");
    const std::string process = LockHolder(devices);
    if (process.empty()) return Cause("lock", "another process holds the board", "wait until it has ended");
    Cause("lock",
          "process " + process + " (" + FirstLine("/proc/" + process + "/comm") +
              ") holds the board; others wait up to 30 seconds for it",
          "kill " + process);
  }

  void AskChip() {
    try {
      const auto chip = OpenChip(EepromBus::Get(), slave);
      Ok("chip", "the EEPROM at " + name + " answers");
    } catch (const Failure&) {
      Cause("chip", "no EEPROM answers at " + name,
            "check the chip's supply and address pins, and the lines of the bus");
    }
  }

  void LookForJournal() {
    const JournalFile journal(JournalFile::DefaultFolder);
    try {
      if (!journal.Read()) return Ok("journal", "no update was cut off");
      const std::string update = isReserved ? "an update" : "an update is under way, or";
      Cause("journal", update + " was cut off; its journal is " + journal.Path(), "brindlectl recover");
    } catch (const Failure& failure) {
      const bool isReadable = access(journal.Path().c_str(), R_OK) == 0;
      Cause("journal", failure.what(),
            isReadable ? "brindlectl update --force IMAGE" : "sudo brindlectl recover");
    }
  }

  unsigned short slave;
  std::string name;  // of the chip, by its address: "0x56"
  DirectoryLock reservation;
  bool isReserved = false;
  std::vector<Finding> findings;
};

void PrintText(const std::vector<Finding>& findings, std::ostream& output) {
  for (const Finding& finding : findings) {
    output << (finding.remedy.empty() ? "ok: " : "cause: ") << finding.text << '\n';
    if (!finding.remedy.empty()) output << "  do: " << finding.remedy << '\n';
  }
}

Json ToJson(const std::vector<Finding>& findings) {
  Json list = Json::array();
  for (const Finding& finding : findings) {
    const bool isOk = finding.remedy.empty();
    list.push_back({{"id", finding.id},
                    {"ok", isOk},
                    {"text", finding.text},
                    {"do", isOk ? Json() : Json(finding.remedy)}});
  }
  return list;
}

}  // namespace

ExitCode Doctor(const Arguments& arguments, const Environment& environment) {
  const std::vector<Finding> findings = Examination(ChipAddress(arguments)).Run();
  const bool isWell = IsWell(findings);
  if (arguments.Has("json")) {
    Print({{"ok", isWell}, {"findings", ToJson(findings)}}, environment.output);
  } else {
    PrintText(findings, environment.output);
  }
  return isWell ? ExitCode::Success : ExitCode::Found;
}
