#include "ctl/Journal.h"

#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <string_view>

#include "ctl/AtomicFile.h"
#include "ctl/Command.h"
#include "ctl/MemoryEeprom.h"
#include "eeprom/HostFile.h"

namespace {

namespace fs = std::filesystem;

using Bytes = std::vector<unsigned char>;

constexpr std::string_view Magic = "BRINDLEJ";
constexpr unsigned short Version = 1;
constexpr std::size_t OldOffset = 12;
constexpr std::size_t TargetOffset = OldOffset + MemoryEeprom::Size;
constexpr std::size_t ChecksumOffset = TargetOffset + MemoryEeprom::Size;
constexpr std::size_t JournalSize = ChecksumOffset + 4;

void Append(Bytes& bytes, unsigned long number, int width) {
  for (int i = 0; i < width; ++i) bytes.push_back(static_cast<unsigned char>(number >> 8 * i));
}

unsigned int Checksum(std::span<const unsigned char> bytes) {
  constexpr unsigned int Polynomial = 0xEDB88320;
  unsigned int remainder = 0xFFFFFFFF;
  for (const unsigned char byte : bytes) {
    remainder ^= byte;
    for (int bit = 0; bit < 8; ++bit) remainder = remainder >> 1 ^ ((remainder & 1) != 0 ? Polynomial : 0);
  }
  return ~remainder;
}

}  // namespace

Bytes Journal::Encode() const {
  Bytes bytes(Magic.begin(), Magic.end());
  bytes.reserve(JournalSize);
  Append(bytes, Version, 2);
  Append(bytes, slave, 2);
  bytes.insert(bytes.end(), old.begin(), old.end());
  bytes.insert(bytes.end(), target.begin(), target.end());
  Append(bytes, Checksum(bytes), 4);
  return bytes;
}

std::optional<Journal> Journal::Decode(std::span<const unsigned char> bytes) {
  if (bytes.size() != JournalSize) return std::nullopt;
  const auto part = [bytes](std::size_t offset) {
    const auto content = bytes.subspan(offset, MemoryEeprom::Size);
    return Bytes(content.begin(), content.end());
  };
  constexpr std::size_t SlaveOffset = 10;
  const auto slave = static_cast<unsigned short>(bytes[SlaveOffset] | bytes[SlaveOffset + 1] << 8);
  Journal journal = {slave, part(OldOffset), part(TargetOffset)};
  // The encoding has no choices, so whatever is wrong shows as a difference.
  const Bytes whole = journal.Encode();
  if (!std::equal(whole.begin(), whole.end(), bytes.begin(), bytes.end())) return std::nullopt;
  return journal;
}

JournalFile::JournalFile(const std::string& folder) : path((fs::path(folder) / "journal").string()) {}

bool JournalFile::Exists() const {
  std::error_code error;
  const fs::file_type type = fs::symlink_status(path, error).type();
  if (type == fs::file_type::none) throw Failure(ExitCode::Failed, Path() + ": " + error.message());
  return type != fs::file_type::not_found;
}

std::optional<Journal> JournalFile::Read() const {
  if (!Exists()) return std::nullopt;
  std::error_code error;
  const bool isFile = fs::is_regular_file(path, error);
  const auto bytes = isFile ? HostFile::Read(Path(), JournalSize, HostFile::Kind::Measurable) : std::nullopt;
  if (!bytes && access(path.c_str(), R_OK) != 0) {
    if (errno == ENOENT) return std::nullopt;  // removed meanwhile
    throw Failure(ExitCode::Failed, Path() + ": " + std::strerror(errno));
  }
  auto journal = bytes ? Journal::Decode(*bytes) : std::nullopt;
  if (!journal) throw Failure(ExitCode::Failed, Path() + ": not a whole journal; it is left alone");
  return journal;
}

void JournalFile::Write(const Journal& journal) const {
  const bool replaces = Exists();
  RemoveLeftovers();
  try {
    WriteAtomically(Path(), journal.Encode());
  } catch (const Failure&) {
    std::error_code error;
    if (!replaces) fs::remove(path, error);
    throw;
  }
}

// What a process that was killed while it wrote a journal has left beside it.
void JournalFile::RemoveLeftovers() const {
  std::error_code error;
  for (const auto& entry : fs::directory_iterator(fs::path(path).parent_path(), error)) {
    if (entry.path().string().starts_with(Path() + TemporarySuffix)) fs::remove(entry.path(), error);
  }
}

void JournalFile::Remove() const {
  if (Exists()) RemoveDurably(Path());
}
