#include "board/CallTrace.h"

#include <fcntl.h>

#include <array>
#include <cerrno>
#include <cstdio>
#include <cstring>

#include "board/BoardError.h"
#include "board/MonotonicClock.h"

namespace {

std::string Time() {
  const std::uint64_t now = MonotonicClock::Now();
  std::array<char, 40> text{};
  std::snprintf(text.data(), text.size(), "%llu.%09llu", static_cast<unsigned long long>(now / 1000000000),
                static_cast<unsigned long long>(now % 1000000000));
  return text.data();
}

std::string Hexadecimal(unsigned int number) {
  std::array<char, 16> text{};
  std::snprintf(text.data(), text.size(), "0x%02x", number);
  return text.data();
}

std::string Bytes(std::span<const unsigned char> data) {
  constexpr char Digits[] = "0123456789abcdef";
  if (data.empty()) return "-";
  std::string text;
  text.reserve(2 * data.size());
  for (const unsigned char byte : data) {
    text += Digits[byte >> 4];
    text += Digits[byte & 15];
  }
  return text;
}

std::string Result(long result) {
  if (result >= 0) return " = " + std::to_string(result) + "\n";
  const char* const name = strerrorname_np(static_cast<int>(-result));
  return " = " + std::to_string(result) + " " + (name ? name : "?") + "\n";
}

}  // namespace

CallTrace::CallTrace(const std::string& path) {
  if (path.empty()) return;
  file = Descriptor(open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_APPEND | O_CLOEXEC, 0666));
  if (file.Get() < 0) throw BoardError(path + ": " + std::strerror(errno));
}

void CallTrace::Begin(pid_t pid, const std::string& bus, std::uint64_t open) {
  if (!IsOn()) return;
  beginTime = Time();
  caller = " " + std::to_string(pid) + " " + bus + " " + std::to_string(open) + " ";
}

void CallTrace::End(const std::string& call, long result) {
  if (IsOn()) Write(beginTime + caller + call + Result(result));
}

void CallTrace::Message(bool read, unsigned int address, std::size_t length,
                        std::span<const unsigned char> data, int result) {
  if (!IsOn()) return;
  Write(Time() + caller + (read ? "received " : "sent ") + Hexadecimal(address) + " " +
        std::to_string(length) + " " + Bytes(data) + Result(result));
}

void CallTrace::Chip(const chip_model& chip) {
  if (!IsOn()) return;
  std::uint64_t met = 0;
  for (const chip_fault& fault : chip.faults) met += fault.met;
  Write(Time() + " chip " + Hexadecimal(chip.slave) + " messages " + std::to_string(chip.messages) +
        " refused " + std::to_string(chip.refused) + " busy " + std::to_string(chip.busy) + " bytes " +
        std::to_string(chip.bytes) + " page-writes " + std::to_string(chip.page_writes) + " met " +
        std::to_string(met) + "\n");
}

void CallTrace::Write(const std::string& line) {
  if (write(file.Get(), line.data(), line.size()) != static_cast<ssize_t>(line.size())) failed = true;
}
