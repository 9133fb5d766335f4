#include "platform/Stream.h"

#include <algorithm>

std::atomic<unsigned int> Stream::nextID{0};

Stream::Stream()
    : id(nextID.fetch_add(1)),
      type(0),
      status(1),
      dataType(StreamDataType::Unspecified),
      connectivitySource(0),
      connected(false) {}

Stream::~Stream() = default;

long Stream::Read(unsigned char* /*buffer*/, long /*count*/,
                  std::chrono::duration<std::int64_t, std::micro> /*timeout*/) {
  return Failed;
}

long Stream::Write(Stream& source, long count) {
  const long wanted = std::max(count, 0L);
  std::vector<unsigned char> scratch(static_cast<std::size_t>(wanted));
  const long result = source.Read(scratch.data(), wanted);
  if (result < 0) return result;
  return Write(scratch.data(), std::min(result, wanted));
}

long Stream::Write(const std::vector<unsigned char>& bytes) {
  return Write(bytes.data(), static_cast<long>(bytes.size()));
}
