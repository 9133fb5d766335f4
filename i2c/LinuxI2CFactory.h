// Finds the kernel's I2C adapters by the register address that the kernel writes into their names, for
// instance "STM32F7 I2C(0x0000000040150000)", and makes buses on their device nodes.
//
// The constructor looks the adapters up once. It skips an entry whose kind is unknown, whose node is missing
// or whose name cannot be read. An error in listing the directory ends the search, and the adapters found so
// far count. The only report of a failure is an empty handle. Buses outlive the factory. One thread at a
// time.
#pragma once

#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <system_error>
#include <unordered_map>
#include <vector>

#include "i2c/I2CBus.h"

class LinuxI2CFactory {
 public:
  // What became of an entry of the directory. NotADirectory to NoAddress are in the order of the checks: the
  // first one that fails is the verdict.
  enum class Verdict {
    Found,          // its bus can be had
    Duplicate,      // an earlier entry has the same address
    NotADirectory,  // nor a link to one
    NoNode,         // there is no file of this name in /dev
    NoName,         // there is no regular file "name", or it cannot be read
    NoAddress       // the name has no register address
  };

  struct Candidate {
    std::string entry;                     // its name, as in "i2c-3"
    std::filesystem::path node;            // where its device node is expected
    std::optional<unsigned long> address;  // in its name, which is read only when there is a node
    Verdict verdict;
  };

  LinuxI2CFactory();

  // Returns the directory in which the kernel lists its adapters (ABI/testing/sysfs-bus-i2c-devices in the
  // kernel's documentation).
  [[nodiscard]] static const std::filesystem::path& DevicesDirectory();

  // Returns the text of an adapter's name file, given the name of its entry; no value when there is no
  // regular file or it cannot be read or is empty.
  [[nodiscard]] static std::optional<std::string> NameOf(const std::string& entry);

  // Returns the register address in an adapter's name; no value when there is none.
  [[nodiscard]] static std::optional<unsigned long> AddressIn(const std::string& name);

  // Looks for adapters again and adds those with a new address. The first one found for an address stays.
  void LocateBuses();

  // Returns the entries that the latest search considered, in its order, and the error that ended it; none
  // when it came to the end of the directory.
  [[nodiscard]] const std::vector<Candidate>& Candidates() const { return candidates; }
  [[nodiscard]] const std::error_code& SearchError() const { return searchError; }

  // Returns a new bus, with its own worker thread and descriptor, on the node of the controller whose
  // registers are at `address`; empty when there is none.
  [[nodiscard]] std::shared_ptr<I2CBus> GetBus(unsigned long address);

 private:
  void Consider(const std::filesystem::directory_entry& entry);
  Verdict Examine(const std::filesystem::directory_entry& entry, Candidate& candidate);

  std::unordered_map<unsigned long, std::filesystem::path> buses;  // register address -> device node
  std::vector<Candidate> candidates;
  std::error_code searchError;
};
