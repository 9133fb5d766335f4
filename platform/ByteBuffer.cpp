#include "platform/ByteBuffer.h"

#include <algorithm>

ByteBuffer::ByteBuffer(unsigned long size)
    : capacity(size),
      writePosition(0),
      readPosition(0),
      storage(std::make_unique_for_overwrite<unsigned char[]>(size)) {}

unsigned long ByteBuffer::Write(const unsigned char* source, unsigned long count) {
  const unsigned long moved = std::min(count, capacity - writePosition);
  std::copy_n(source, moved, storage.get() + writePosition);
  writePosition += moved;
  return moved;
}

unsigned long ByteBuffer::FillBuffer(unsigned char value, unsigned long count) {
  const unsigned long filled = std::min(count, capacity - writePosition);
  std::fill_n(storage.get() + writePosition, filled, value);
  writePosition += filled;
  return filled;
}

unsigned long ByteBuffer::Read(ByteBuffer& destination, unsigned long count) {
  const unsigned long moved =
      destination.Write(storage.get() + readPosition, std::min(count, writePosition - readPosition));
  readPosition += moved;
  return moved;
}

void ByteBuffer::Reset() {
  writePosition = 0;
  readPosition = 0;
}
