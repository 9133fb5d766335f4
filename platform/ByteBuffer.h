// A buffer of fixed capacity. Bytes are written or filled in at its write position and moved out to another
// buffer from its read position. Read position <= write position <= capacity, all in bytes.
//
// No operation fails: it moves as many bytes as fit and are there, and returns their number. One thread at a
// time.
#pragma once

#include <memory>

class ByteBuffer final {
 public:
  // Allocates once, here. The storage beyond the write position is undefined.
  explicit ByteBuffer(unsigned long size);
  ByteBuffer(const ByteBuffer&) = delete;
  ByteBuffer& operator=(const ByteBuffer&) = delete;

  // Appends up to `count` bytes from `source`, or copies of `value`. Returns how many fitted.
  unsigned long Write(const unsigned char* source, unsigned long count);
  unsigned long FillBuffer(unsigned char value, unsigned long count);

  // Moves up to `count` unread bytes from this buffer to the end of `destination`. Returns how many moved.
  unsigned long Read(ByteBuffer& destination, unsigned long count);

  // Sets both positions to 0.
  void Reset();

  // Returns the first byte of the storage, which may have been read already. Valid as long as the buffer.
  [[nodiscard]] const unsigned char* GetBuffer() const { return storage.get(); }
  [[nodiscard]] unsigned long GetCapacity() const { return capacity; }
  [[nodiscard]] unsigned long GetWritePosition() const { return writePosition; }
  [[nodiscard]] unsigned long GetReadPosition() const { return readPosition; }

 private:
  unsigned long capacity;
  unsigned long writePosition;
  unsigned long readPosition;
  std::unique_ptr<unsigned char[]> storage;
};
