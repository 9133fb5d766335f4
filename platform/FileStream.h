// A Stream over a host file, always in binary mode.
//
// When the file cannot be opened, Good() returns false, and reads and writes report Failed. Sizes and write
// counts are 32-bit signed values taken from the file's positions. They are wrong from 2 GiB on, so a caller
// that needs the whole file checks that a further read finds the end. The connected flag is not used. One
// thread at a time. The destructor closes the file.
#pragma once

#include <fstream>
#include <string>

#include "platform/Stream.h"

class FileStream final : public Stream {
 public:
  static constexpr unsigned char READ = 0x01;
  static constexpr unsigned char WRITE = 0x02;
  static constexpr unsigned char TRUNCATE = 0x08;

  // `openFlags`: READ, WRITE, TRUNCATE, 0x04 to append, 0x10 to start at the end; other bits are ignored.
  FileStream(const char* path, unsigned char openFlags);
  FileStream(const std::string& path, unsigned char openFlags);
  ~FileStream() override;

  // Returns false once the stream has met the end of the file, has failed or is broken.
  [[nodiscard]] bool Good() const;

  using Stream::Read;
  using Stream::Write;

  // Reads up to `count` bytes; a read that meets the end returns the bytes before it, possibly 0. Returns
  // Failed when the file cannot be read (a directory, an I/O error). A negative count counts as 0.
  long Read(unsigned char* buffer, long count) override;

  // Writes `count` bytes and passes them to the operating system. Returns Failed when the system does not
  // take them all (a full disk); part of them may then be in the file. A negative count counts as 0.
  long Write(const unsigned char* buffer, long count) override;

  // Reads from the current position as many bytes as the whole file has, or up to its end. What could not be
  // read is missing from the vector. When the size cannot be measured, it reads nothing: the vector is empty.
  [[nodiscard]] std::vector<unsigned char> Read();

  // Returns the size in bytes and keeps the position. The result is negative when the size cannot be measured
  // (a pipe, which stays usable, or a stream that has failed) or needs the 32nd bit.
  [[nodiscard]] long GetFileSize();

  // Passes pending output to the operating system and closes. Good() turns false when either fails.
  void Close() override;

  [[nodiscard]] std::ios_base::openmode TranslateFlags(unsigned char openFlags);

 private:
  void Synchronise();

  std::fstream file;
  unsigned char flags;
};
