#include "board/CallerMemory.h"

#include <sys/uio.h>

#include <vector>

namespace {

iovec RemotePart(std::uint64_t address, std::size_t length) {
  // NOLINTNEXTLINE(performance-no-int-to-ptr): an address elsewhere, never followed here
  return {reinterpret_cast<void*>(static_cast<std::uintptr_t>(address)), length};
}

}  // namespace

bool CallerMemory::Read(std::uint64_t address, std::span<unsigned char> bytes) const {
  if (bytes.empty()) return true;
  const iovec local{bytes.data(), bytes.size()};
  const iovec remote = RemotePart(address, bytes.size());
  return process_vm_readv(caller, &local, 1, &remote, 1, 0) == static_cast<ssize_t>(bytes.size());
}

bool CallerMemory::Write(std::uint64_t address, std::span<const unsigned char> bytes) const {
  if (bytes.empty()) return true;
  std::vector<unsigned char> copy(bytes.begin(), bytes.end());  // the call takes no pointer to const
  const iovec local{copy.data(), copy.size()};
  const iovec remote = RemotePart(address, bytes.size());
  return process_vm_writev(caller, &local, 1, &remote, 1, 0) == static_cast<ssize_t>(bytes.size());
}
