#include "eeprom/HostFile.h"

#include "platform/FileStream.h"
#include "platform/SignalHold.h"

namespace HostFile {

namespace {

using Content = std::optional<std::vector<unsigned char>>;

// The size alone proves nothing: a directory has one, and it wraps at 4 GiB.
Content ReadMeasured(FileStream& file, long size) {
  std::vector<unsigned char> content = file.Read();
  unsigned char beyond = 0;
  if (content.size() != static_cast<unsigned long>(size) || file.Read(&beyond, 1) != 0) return std::nullopt;
  return content;
}

Content ReadToEnd(FileStream& file, unsigned long limit) {
  std::vector<unsigned char> content(limit + 1);
  const long count = file.Read(content.data(), static_cast<long>(content.size()));
  if (count <= 0 || static_cast<unsigned long>(count) > limit) return std::nullopt;
  content.resize(static_cast<unsigned long>(count));
  return content;
}

}  // namespace

Content Read(const std::string& path, unsigned long limit, Kind kind) {
  const SignalWindow window;
  FileStream file(path, FileStream::READ);
  if (!file.Good()) return std::nullopt;
  const long size = file.GetFileSize();
  if (size < 0) return kind == Kind::Any ? ReadToEnd(file, limit) : std::nullopt;
  if (static_cast<unsigned long>(size) > limit) return std::nullopt;
  return ReadMeasured(file, size);
}

bool Write(const std::string& path, std::span<const unsigned char> data) {
  FileStream file(path, FileStream::WRITE | FileStream::TRUNCATE);
  if (!file.Good()) return false;
  const auto length = static_cast<long>(data.size());
  const long written = file.Write(data.data(), length);
  file.Close();
  return written == length && file.Good();
}

}  // namespace HostFile
