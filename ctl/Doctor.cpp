#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <optional>
#include <utility>

#include "content/Hexadecimal.h"
#include "ctl/Accounts.h"
#include "ctl/Chip.h"
#include "ctl/Commands.h"
#include "ctl/Failure.h"
#include "ctl/JournalFile.h"
#include "ctl/Json.h"
#include "ctl/LockHolder.h"
#include "ctl/Updater.h"
#include "i2c/I2CBusHelper.h"
#include "i2c/LinuxI2CAdapter.h"
#include "i2c/LinuxI2CFactory.h"

namespace {

// What was examined, and what came of it.
struct Observation {
  const char* id;
  std::string text;
  std::string remedy;  // a command line or an advice; empty when nothing is wrong
};

using Observations = std::vector<Observation>;

bool IsWell(const Observations& observations) {
  return std::all_of(observations.begin(), observations.end(),
                     [](const Observation& observation) { return observation.remedy.empty(); });
}

using Candidate = LinuxI2CFactory::Candidate;
using Verdict = LinuxI2CFactory::Verdict;

// Returns why the search for the EEPROM's controller went past an adapter.
const char* ReasonText(Verdict verdict) {
  switch (verdict) {
    case Verdict::Found:
    case Verdict::Duplicate:
      return "is another controller";
    case Verdict::NotADirectory:
      return "is no directory";
    case Verdict::NoNode:
      return "has no device node";
    case Verdict::NoName:
      return "has no readable name";
    case Verdict::NoAddress:
      return "has a name without an address";
  }
  return "";
}

// Gives the nodes of the EEPROM's controller to the group, also at every boot. The same line as in the
// example 70-brindle.rules.
constexpr char RuleCommand[] =
    "echo 'SUBSYSTEM==\"i2c-dev\", ATTR{name}==\"STM32F7 I2C(0x*40150000)\", GROUP=\"brindle\", "
    "MODE=\"0660\"' >/etc/udev/rules.d/70-brindle.rules";

// Follows Brindle's path to the chip and collects what it finds. No cause ends it; the chip is probed only if
// there is none.
class Examination final {
 public:
  Examination(ChipName chipName, const Environment& usedEnvironment)
      : environment(usedEnvironment), chip(std::move(chipName)), address(Hex(chip.slave, 2)) {}

  Observations Run() {
    if (chip.file.empty()) ExamineWay();
    ReserveTheBoard();
    if (IsProbed()) ProbeChip();
    LookForJournal();
    return std::move(observations);
  }

 private:
  void ExamineWay() {
    const auto adapter = chip.node ? chip.node : FindAdapter();
    if (!adapter) return;
    ExamineNode(*adapter);
    ExamineDriver(*adapter);
  }

  void Ok(const char* id, const std::string& text) { observations.push_back({id, text, ""}); }
  void Cause(const char* id, const std::string& text, const std::string& remedy) {
    observations.push_back({id, text, remedy});
  }

  // Returns the adapter that Brindle uses, or else one that only lacks its node.
  std::optional<LinuxI2CAdapter> FindAdapter() {
    const LinuxI2CFactory factory;
    const unsigned long controller = *I2C::GetBusAddress(I2C::Bus::I2C4);
    const auto& candidates = factory.Candidates();
    const auto isUsed = [&](const Candidate& candidate) {
      return candidate.verdict == Verdict::Found && candidate.address == controller;
    };
    const auto lacksNode = [&](const Candidate& candidate) {
      return candidate.verdict == Verdict::NoNode &&
             LinuxI2CFactory::AddressIn(LinuxI2CFactory::NameOf(candidate.entry).value_or("")) == controller;
    };
    auto found = std::find_if(candidates.begin(), candidates.end(), isUsed);
    if (found == candidates.end()) found = std::find_if(candidates.begin(), candidates.end(), lacksNode);
    if (found != candidates.end()) {
      if (found->verdict == Verdict::Found) Ok("adapter", "the EEPROM's controller is " + found->entry);
      return LinuxI2CAdapter::AtNode(found->node.string());
    }
    if (candidates.empty() && factory.SearchError()) {
      Cause("kernel", "the kernel has no I2C: no " + LinuxI2CFactory::DevicesDirectory().string(),
            "use a kernel with CONFIG_I2C and the driver of the board's I2C controllers");
      return std::nullopt;
    }
    std::string others;
    for (const Candidate& candidate : candidates) {
      if (!candidate.entry.starts_with("i2c-")) continue;
      others.append("; ").append(candidate.entry).append(" ").append(ReasonText(candidate.verdict));
    }
    Cause("adapter", "no adapter has the address " + Hex(static_cast<unsigned int>(controller)) + others,
          "enable the controller in the device tree, and its driver in the kernel");
    return std::nullopt;
  }

  void ExamineNode(const LinuxI2CAdapter& adapter) {
    const std::string node = adapter.Node();
    struct stat status {};
    if (stat(node.c_str(), &status) != 0) {
      return Cause("node", "the adapter has no " + node + ": i2c-dev is not loaded", "modprobe i2c-dev");
    }
    const std::string owner = UserName(status.st_uid) + ":" + GroupName(status.st_gid);
    const int fd = open(node.c_str(), O_RDWR | O_CLOEXEC);
    if (fd >= 0) {
      close(fd);
      Ok("node", node + " can be opened; it belongs to " + owner);
      return ExamineTransfers(adapter);
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
                   : "groupadd --system --force brindle && " + join + " && " + RuleCommand +
                         " && udevadm control --reload && udevadm trigger --settle " + node);
  }

  void ExamineTransfers(const LinuxI2CAdapter& adapter) {
    constexpr char Remedy[] = "use another adapter, or its driver if the kernel has a better one";
    if (adapter.Examine() == LinuxI2CAdapter::Service::SMBusOnly) {
      return Cause("adapter", "the adapter has SMBus transfers only, and no plain I2C", Remedy);
    }
    if (!adapter.TakesMessage(Chip::LongestMessage)) {
      Cause("adapter", "the adapter takes no message of 66 bytes, so no page can be written", Remedy);
    }
  }

  void ExamineDriver(const LinuxI2CAdapter& adapter) {
    const auto driver = adapter.DriverAt(chip.slave);
    if (!driver) return Ok("driver", "no driver of the kernel holds " + address);
    const std::string way = driver->eeprom.empty()
                                ? "neither Brindle nor brindlectl can use the chip"
                                : "Brindle cannot use the chip; brindlectl works through the driver";
    isDriven = access(driver->eeprom.c_str(), R_OK) == 0;
    Cause(
        "driver",
        "the kernel's driver " + driver->name + " holds " + address + " (" + driver->device + "), so " + way,
        "echo " + driver->device + " >/sys/bus/i2c/drivers/" + driver->name + "/unbind");
  }

  // As long as the examination lasts, so that the chip is not probed in the middle of another process's read.
  void ReserveTheBoard() {
    reservation = environment.board.reserve(0);
    if (reservation) return Ok("lock", "no other process holds the board");
    const auto holder = LockHolder::Of(LinuxI2CFactory::DevicesDirectory());
    if (!holder) return Cause("lock", "another process holds the board", "wait until it has ended");
    Cause("lock",
          "process " + holder->process + " (" + holder->program +
              ") holds the board; others wait up to 30 seconds for it",
          holder->IsOurs() ? "wait until it has ended" : "kill " + holder->process);
  }

  // The chip is probed if nothing stands in the way but a driver through which brindlectl reads it.
  [[nodiscard]] bool IsProbed() const {
    return std::all_of(observations.begin(), observations.end(), [this](const Observation& observation) {
      return observation.remedy.empty() || (isDriven && observation.id == std::string("driver"));
    });
  }

  void ProbeChip() {
    const std::string eeprom = chip.file.empty() ? "the EEPROM at " + address : chip.Text();
    try {
      const Chip probed(chip, Chip::Use::Read, environment);
      Ok("chip", eeprom + " answers");
    } catch (const Failure& failure) {
      if (!chip.file.empty()) return Cause("chip", failure.what(), "check the file and its access rights");
      const bool isSilent = failure.exitCode == ExitCode::NotAccessible;
      Cause("chip", isSilent ? "no EEPROM answers at " + address : std::string(failure.what()),
            "check the chip's supply and address pins, and the lines of the bus");
    }
  }

  void LookForJournal() {
    const JournalFile file;
    try {
      const auto journal = file.Read();
      if (!journal) return Ok("journal", "no update was cut off");
      if (reservation) return ExamineJournal(*journal, file);
      Cause("journal", "an update is under way or was cut off; its journal is " + file.Path(),
            "wait until the process that holds the board has ended");
    } catch (const Failure& failure) {
      const bool isReadable = access(file.Path().c_str(), R_OK) == 0;
      Cause("journal", failure.what(), isReadable ? file.Recover("--discard") : "sudo " + file.Recover());
    }
  }

  void ExamineJournal(const Journal& journal, const JournalFile& file) {
    const ChipName name = ChipName::Parse(journal.chip, journal.slave);
    const std::string text = "an update of " + journal.chip + " at " + Hex(journal.slave, 2) +
                             " was cut off; its journal is " + file.Path();
    try {
      Chip updated(name, Chip::Use::Read, environment);
      Updater updater(updated.Memory(), name.Text());
      if (updater.IsCutOff(journal)) return Cause("journal", text, file.Recover());
      Cause("journal", text + ", and something was stored since", file.Recover("--dry-run"));
    } catch (const std::exception&) {
      const std::string options = name.Options();
      const std::string doctor = "brindlectl doctor" + (options.empty() ? "" : " " + options);
      Cause("journal",
            text + ", and that chip cannot be read; if it never will be, \"" + file.Recover("--discard") +
                "\" throws the journal away",
            name.IsSameAs(chip) ? file.Recover() : doctor);
    }
  }

  const Environment& environment;
  ChipName chip;
  std::string address;  // of the chip: "0x56"
  std::shared_ptr<DirectoryLock> reservation;
  bool isDriven = false;  // by a driver with a file that this user may read
  Observations observations;
};

void PrintText(const Observations& observations, std::ostream& output) {
  for (const Observation& observation : observations) {
    output << (observation.remedy.empty() ? "ok: " : "cause: ") << observation.text << '\n';
    if (!observation.remedy.empty()) output << "  do: " << observation.remedy << '\n';
  }
}

Json ToJson(const Observations& observations) {
  Json list = Json::array();
  for (const Observation& observation : observations) {
    const bool isOk = observation.remedy.empty();
    list.push_back({{"id", observation.id},
                    {"ok", isOk},
                    {"text", observation.text},
                    {"do", isOk ? Json() : Json(observation.remedy)}});
  }
  return list;
}

}  // namespace

ExitCode Doctor(const Arguments& arguments, const Environment& environment) {
  const Observations observations = Examination(ChipName::Of(arguments), environment).Run();
  const bool isWell = IsWell(observations);
  if (arguments.Has("json")) {
    Print({{"ok", isWell}, {"findings", ToJson(observations)}}, environment.output);
  } else {
    PrintText(observations, environment.output);
  }
  return isWell ? ExitCode::Success : ExitCode::Found;
}
