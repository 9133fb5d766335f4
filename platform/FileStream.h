// A Stream over a host file, always binary.
//
// A file that cannot be opened shows in Good(); reading and writing then report Failed. Sizes and write
// counts are 32-bit signed values as the file's positions give them: from 2 GiB on they are not to be
// trusted, and a caller that needs the whole file checks that a further read meets the end. The connected
// flag is not used. One thread at a time. Destruction closes the file.
#pragma once

#include <fstream>
#include <string>

#include "platform/Stream.h"

class FileStream : public Stream {
 public:
  static constexpr unsigned char READ = 0x01;
  static constexpr unsigned char WRITE = 0x02;
  static constexpr unsigned char TRUNCATE = 0x08;

  // `openFlags`: READ, WRITE, TRUNCATE, 0x04 to append, 0x10 to start at the end; other bits are ignored.
  FileStream(char const* path, unsigned char openFlags);
  FileStream(std::string const& path, unsigned char openFlags);
  ~FileStream() override;

  // Whether none of end of file, failed and broken is set.
  bool Good() const;

  using Stream::Read;
  using Stream::Write;

  // Reads up to `count` bytes; a read that meets the end returns what there was, 0 included. Failed when the
  // file cannot be read (a directory, an I/O error). A negative count counts as 0.
  long Read(unsigned char* buffer, long count) override;

  // Writes `count` bytes and hands them to the operating system. They count as written only when it took
  // them: Failed otherwise (a full disk), and part of them may be in the file. On a file without positions (a
  // pipe) the count is what the system took. A negative count counts as 0.
  long Write(unsigned char const* buffer, long count) override;

  // The rest of the file from the current position, asked for by the size of the whole file; what could not
  // be read is missing from the vector. Empty, and nothing is read, when the size cannot be measured.
  std::vector<unsigned char> Read();

  // The size in bytes; the position stays. Negative when it cannot be measured: a pipe, which stays usable, a
  // stream that has failed, and a file whose size needs the 32nd bit.
  long GetFileSize();

  // Hands pending output over and closes. Good() turns false when either failed.
  void Close() override;

  std::ios_base::openmode TranslateFlags(unsigned char openFlags);

 private:
  void Synchronise();

  std::fstream file;
  unsigned char flags;
};
