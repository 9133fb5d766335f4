// A stream of bytes with a process-wide number and a connected flag.
//
// Reads and writes return a byte count, or one of the negative result codes below. The connected flag may be
// used from any thread, everything else from one thread at a time.
#pragma once

#include <atomic>
#include <chrono>
#include <cstdint>
#include <vector>

enum class StreamDataType : unsigned int { Unspecified = 0 };

class Stream {
 public:
  static constexpr long Failed = -2;       // failed or broken, or an operation that the stream does not have
  static constexpr long EndOfFile = -3;    // nothing moved, the end was met, the stream is fine
  static constexpr long NotWritable = -4;  // not opened for writing

  // The number of the next stream of any kind; the first of the process is 0.
  static std::atomic<unsigned int> nextID;

  Stream();
  virtual ~Stream();
  Stream(const Stream&) = delete;
  Stream& operator=(const Stream&) = delete;

  virtual long Read(unsigned char* buffer, long count) = 0;
  // A stream without timed reads returns Failed and touches nothing.
  virtual long Read(unsigned char* buffer, long count,
                    std::chrono::duration<std::int64_t, std::micro> timeout);
  virtual long Write(const unsigned char* buffer, long count) = 0;
  // Reads up to `count` bytes from `source` in one read and writes them. When the read gives a result code,
  // it returns that code and writes nothing. A negative count counts as 0.
  virtual long Write(Stream& source, long count);
  virtual long Write(const std::vector<unsigned char>& bytes);

  // Clears, or sets, the connected flag and does nothing else.
  virtual void Close() { connected = false; }
  virtual void Open() { connected = true; }

  // Descriptive values for the users of a stream. Nothing in this class depends on them.
  [[nodiscard]] virtual unsigned int GetID() const { return id; }
  [[nodiscard]] virtual unsigned int GetType() const { return type; }
  [[nodiscard]] virtual unsigned int GetStatus() const { return status; }
  [[nodiscard]] virtual unsigned int GetConnectivitySource() const { return connectivitySource; }
  [[nodiscard]] virtual StreamDataType GetStreamDataType() const { return dataType; }
  virtual void SetStreamDataType(StreamDataType newDataType) { dataType = newDataType; }

  [[nodiscard]] virtual bool Connected() const { return connected; }

 private:
  unsigned int id;
  unsigned int type;
  unsigned int status;
  StreamDataType dataType;
  unsigned int connectivitySource;
  std::atomic<bool> connected;
};
