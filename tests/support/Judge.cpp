#include "support/Judge.h"

#include <algorithm>

namespace {

constexpr Entry Reserved = {0x40, 0x4000};

// No value where the file is in order.
std::string CheckPlace(StoreModel const& before, StoreModel const& after, unsigned int file,
                       Command const& write) {
  Entry const& entry = after.table[file];
  if (entry == before.table[file] && file != write.file) return "";
  if (entry.address < 0x40 || entry.address + entry.size > ChipSize) return "is outside of the file area";
  bool leadsThere = false;  // the end of another file
  for (unsigned int other = 0; other < Files; ++other) {
    if (other != file && (other == write.file || before.contents[other]) &&
        entry.Overlaps(after.table[other])) {
      return "overlaps another";
    }
    Entry const& old = before.table[other];
    const unsigned int next = (old.address + old.size + 63) % 0x10000;
    leadsThere = leadsThere || (other != 0 && old.HasPlace() && std::min(old.address, next) < 0x4040);
  }
  const bool inReserve = file != 0 && after.table[0] == Reserved && entry.address < 0x4040;
  return inReserve && !leadsThere ? "is in the place that is reserved for file 1" : "";
}

std::string CheckChoice(Rig const& rig, StoreModel const& before, Command const& write,
                        Outcome const& outcome) {
  if (outcome.exit != 0) {
    if (!rig.Holds(before.memory)) return "a refused write changed the chip";
    return before.HasAmpleRoom(write) ? "a write was refused that has ample room" : "";
  }
  const StoreModel after(rig.Memory());
  for (unsigned int file = 0; file < Files; ++file) {
    const std::string name = "file " + std::to_string(file + 1) + " ";
    const bool isWritten = file == write.file;
    if (isWritten && !write.host.empty() && after.contents[file] != write.host)
      return name + "was not stored";
    if (!isWritten && before.contents[file] && after.contents[file] != before.contents[file]) {
      return name + "is lost";
    }
    const std::string complaint = CheckPlace(before, after, file, write);
    if (!complaint.empty()) return name + complaint;
  }
  return "";
}

// The new image is written first, then those that move, in the order of their numbers, then the table.
bool WritesInOrder(Rig const& rig, StoreModel const& before, Command const& write) {
  const StoreModel after(rig.Memory());
  std::string order;
  for (auto const& message : rig.bus->messages) {
    if (message.isRead || message.bytes.size() <= 2) continue;
    const Entry piece = {256U * message.bytes[0] + message.bytes[1],
                         static_cast<unsigned int>(message.bytes.size()) - 2};
    char owner = piece == Entry{4, 12} ? 'T' : '?';
    for (unsigned int file = 0; file < Files; ++file) {
      if (owner == '?' && file != write.file && before.contents[file] && after.table[file].Overlaps(piece)) {
        owner = static_cast<char>('1' + file);
      }
    }
    const Entry image = {after.table[write.file].address, static_cast<unsigned int>(write.host.size()) + 2};
    if (image.Overlaps(piece)) owner = static_cast<char>('1' + write.file);
    if (order.empty() || order.back() != owner) order += owner;
  }
  if (order.starts_with('T')) order.erase(0, 1);  // start-up listed the peripheral configuration file
  if (order.empty() || order[0] != static_cast<char>('1' + write.file)) return false;
  return std::is_sorted(order.begin() + 1, order.end()) && order.find('?') == std::string::npos;
}

}  // namespace

std::string Judge(Rig& rig, Bytes const& contents, Command const& command, Outcome const& outcome) {
  const std::string exit = "exit " + std::to_string(outcome.exit);
  if (!outcome.IsOrderly()) return exit + ", not orderly";
  if (rig.chip.Model().busy != 0) return "a write cycle was not waited out";
  if (rig.bus->IsLocked()) return "the bus is still locked";
  const StoreModel before(contents);
  const std::optional<Expectation> expected = before.Expect(command);
  if (expected && outcome.exit != expected->exit) return exit;
  if (expected && outcome.host != expected->host) return "wrong host file";
  if (expected && !rig.Holds(expected->memory)) return "wrong contents of the chip";
  const std::string complaint = expected ? "" : CheckChoice(rig, before, command, outcome);
  if (!complaint.empty() || !command.Is("/W") || outcome.exit != 0) return complaint;
  return WritesInOrder(rig, before, command) ? "" : "the images are written in the wrong order";
}

std::string RunAndJudge(Rig& rig, Bytes const& contents, Command const& command) {
  rig.Load(contents);
  rig.bus->messages.clear();
  rig.bus->records = true;
  const Outcome outcome = rig.Run(command);
  rig.bus->records = false;
  return Judge(rig, contents, command, outcome);
}
