// A buffer of fixed capacity with a write and a read position: bytes are written or filled in at the one and
// moved out to another buffer at the other. Read position <= write position <= capacity, all in bytes.
//
// No operation fails: what does not fit or is not there is not moved, and the count says so. One thread at a
// time.
#pragma once

#include <memory>

class ByteBuffer {
 public:
  // Allocates once, here. The storage beyond the write position is undefined.
  explicit ByteBuffer(unsigned long size);
  ByteBuffer(ByteBuffer const&) = delete;
  ByteBuffer& operator=(ByteBuffer const&) = delete;

  // Append up to `count` bytes from `source`, or copies of `value`. Return how many fitted.
  unsigned long Write(unsigned char const* source, unsigned long count);
  unsigned long FillBuffer(unsigned char value, unsigned long count);

  // Moves up to `count` unread bytes from this buffer to the end of `destination`. Returns how many moved.
  unsigned long Read(ByteBuffer& destination, unsigned long count);

  // Both positions back to 0.
  void Reset();

  // The first byte of the storage, not of what is unread. Valid as long as the buffer.
  unsigned char const* GetBuffer() const;
  unsigned long GetCapacity() const;
  unsigned long GetWritePosition() const;
  unsigned long GetReadPosition() const;

 private:
  unsigned long capacity;
  unsigned long writePosition;
  unsigned long readPosition;
  std::unique_ptr<unsigned char[]> storage;
};
