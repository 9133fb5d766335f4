#include "support/Judge.h"

#include <algorithm>

namespace {

constexpr unsigned int FileArea = 0x40;
constexpr unsigned int AfterReserve = 0x4040;
constexpr unsigned int PageSize = 64;

// Returns whether a file would be appended inside the reserved place: there, or just after a file that ends
// there.
bool LeadsIntoReserve(const Entry& entry) {
  if (!entry.HasPlace()) return false;
  const unsigned int next = (entry.address + entry.size + PageSize - 1) % 0x10000;
  const bool endLeadsThere = !entry.IsTorn() && next < AfterReserve;
  return entry.address < AfterReserve || endLeadsThere;
}

// Returns what is wrong with the place of a file, or an empty string.
std::string CheckPlace(const StoreModel& before, const StoreModel& after, unsigned int file,
                       const Command& write) {
  const Entry& entry = after.table[file];
  const Entry& old = before.table[file];
  if (entry == old && file != write.file) return "";
  if (entry.address < FileArea || entry.address + entry.size > ChipSize) return "is outside of the file area";
  if (entry.address != old.address && entry.address % PageSize != 0) return "is not aligned";
  for (unsigned int other = 0; other < Files; ++other) {
    if (other == file) continue;
    const bool isKept = other == write.file || before.contents[other];
    if (isKept && entry.Overlaps(after.table[other])) return "overlaps another";
  }
  const bool isReserved = file != 0 && after.table[0] == ReservedEntry;
  const bool isInReserve = isReserved && entry.address < AfterReserve;
  if (!isInReserve) return "";
  const bool isLed = std::any_of(before.table.begin() + 1, before.table.end(), LeadsIntoReserve);
  return isLed ? "" : "is in the place that is reserved for file 1";
}

std::string CheckChoice(const Rig& rig, const StoreModel& before, const Command& write,
                        const Outcome& outcome) {
  if (outcome.exit != 0) {
    if (!rig.Holds(before.memory)) return "a refused write changed the chip";
    return before.HasAmpleRoom(write) ? "a write was refused that has ample room" : "";
  }
  const StoreModel after(rig.Memory());
  for (unsigned int file = 0; file < Files; ++file) {
    const auto& wanted = file == write.file ? std::optional(write.host) : before.contents[file];
    const bool isStored = !wanted || wanted->empty() || after.contents[file] == wanted;
    const std::string complaint = isStored ? CheckPlace(before, after, file, write) : "is lost";
    if (!complaint.empty()) return "file " + std::to_string(file + 1) + " " + complaint;
  }
  return "";
}

// The new image is written first, and the table once and last.
bool WritesInOrder(const Rig& rig, const Bytes& contents, const StoreModel& before, const Command& write) {
  constexpr unsigned int TableAddress = 4;
  std::vector<unsigned int> addresses;
  for (const ChipBus::Message& message : rig.bus->messages) {
    if (message.CarriesData()) addresses.push_back(message.MemoryAddress());
  }
  const bool hasListed = before.memory != contents;  // the peripheral configuration file, at start-up
  if (hasListed) addresses.erase(addresses.begin());
  const unsigned int newImage = StoreModel(rig.Memory()).table[write.file].address;
  const auto table = std::ranges::find(addresses, TableAddress);
  const bool isLast = table == addresses.end() || table + 1 == addresses.end();
  return addresses.front() == newImage && isLast;
}

}  // namespace

std::string RunAndJudge(Rig& rig, const Bytes& contents, const Command& command) {
  rig.Load(contents);
  rig.bus->messages.clear();
  rig.bus->records = true;
  const Outcome outcome = rig.Run(command);
  rig.bus->records = false;
  const std::string exit = "exit " + std::to_string(outcome.exit);
  if (!outcome.IsOrderly()) return exit + ", not orderly";
  if (rig.chip.Model().busy != 0) return "a write cycle was not waited out";
  if (rig.bus->IsLocked()) return "the bus is still locked";
  const StoreModel before(contents);
  const std::optional<Expectation> expected = before.Expect(command);
  if (expected) {
    if (!rig.CameTo(*expected, outcome)) return exit + ", not what the model says";
  } else {
    const std::string complaint = CheckChoice(rig, before, command, outcome);
    if (!complaint.empty()) return complaint;
  }
  const bool hasStored = command.Is("/W") && outcome.exit == 0;
  if (hasStored && !WritesInOrder(rig, contents, before, command)) return "the images are out of order";
  return "";
}

bool HoldsNothingElse(const Rig& rig, const Bytes& contents, const Bytes& done) {
  const Bytes started = StoreModel(contents).memory;
  const auto now = rig.chip.Memory();
  for (std::size_t i = 0; i < now.size(); ++i) {
    const bool isKnown = now[i] == contents[i] || now[i] == started[i] || now[i] == done[i];
    if (!isKnown) return false;
  }
  return true;
}
