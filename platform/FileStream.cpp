#include "platform/FileStream.h"

#include <algorithm>

namespace {

constexpr unsigned char AppendFlag = 0x04;
constexpr unsigned char SeekToEndFlag = 0x10;

}  // namespace

FileStream::FileStream(const char* path, unsigned char openFlags) : flags(openFlags) {
  file.open(path, TranslateFlags(openFlags));
}

FileStream::FileStream(const std::string& path, unsigned char openFlags)
    : FileStream(path.c_str(), openFlags) {}

FileStream::~FileStream() {
  FileStream::Close();
}

bool FileStream::Good() const {
  return file.good();
}

long FileStream::Read(unsigned char* buffer, long count) {
  file.read(reinterpret_cast<char*>(buffer), std::max(count, 0L));
  const long obtained = file.gcount();
  if (!file.eof()) return file.fail() ? Failed : obtained;
  return !file.fail() && obtained == 0 ? EndOfFile : obtained;
}

long FileStream::Write(const unsigned char* buffer, long count) {
  if ((flags & WRITE) == 0) {
    Synchronise();
    return NotWritable;
  }
  const std::streamoff before = file.tellp();
  file.write(reinterpret_cast<const char*>(buffer), std::max(count, 0L));
  const std::streamoff after = file.tellp();
  Synchronise();
  const std::streamoff taken = file.fail() ? 0 : std::max(count, 0L);
  const int written = static_cast<int>(before >= 0 ? after - before : taken);
  if (file.eof() && written == 0) return EndOfFile;
  return file.fail() ? Failed : written;
}

std::vector<unsigned char> FileStream::Read() {
  const long size = GetFileSize();
  if (size <= 0) return {};
  std::vector<unsigned char> content(static_cast<std::size_t>(size));
  const long count = Read(content.data(), size);
  content.resize(static_cast<std::size_t>(std::max(count, 0L)));
  return content;
}

long FileStream::GetFileSize() {
  const std::streampos position = file.tellg();
  if (position < 0) return -1;
  file.seekg(0, std::ios_base::end);
  const int size = static_cast<int>(static_cast<std::streamoff>(file.tellg()));
  file.seekg(position);
  return size;
}

void FileStream::Close() {
  Synchronise();
  file.close();
}

void FileStream::Synchronise() {
  if (file.rdbuf()->pubsync() != 0) file.setstate(std::ios_base::badbit);
}

std::ios_base::openmode FileStream::TranslateFlags(unsigned char openFlags) {
  std::ios_base::openmode mode = std::ios_base::binary;
  if ((openFlags & READ) != 0) mode |= std::ios_base::in;
  if ((openFlags & WRITE) != 0) mode |= std::ios_base::out;
  if ((openFlags & AppendFlag) != 0) mode |= std::ios_base::app;
  if ((openFlags & TRUNCATE) != 0) mode |= std::ios_base::trunc;
  if ((openFlags & SeekToEndFlag) != 0) mode |= std::ios_base::ate;
  return mode;
}
