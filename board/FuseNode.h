// A file of the board, served over FUSE: a device node /dev/i2c-N, or a driver's file in sysfs.
//
// The node is a FUSE file system of a single file: the kernel passes every open, ioctl, read, write and close
// to this process. direct_io lets each read or write arrive as it was called. Unlike a real device node, it
// is a regular file to stat(), a read or write of no bytes does not reach it, and 32-bit programs get ENOTTY
// for requests with a pointer.
//
// Each node has a thread that waits for requests: one thread for all nodes would take three times as long for
// a request. Calls on all nodes are performed one after the other.
#pragma once

#include <sys/types.h>

#include <cerrno>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <span>
#include <string>
#include <thread>

#include "board/CallTrace.h"
#include "board/CallerMemory.h"
#include "board/Descriptor.h"

struct fuse_session;

class FuseNode final {
 public:
  // What the calls on an open do. Results are those of the system calls, with a negative errno for a failure.
  // Offsets are positions in the file. What an ioctl's argument points to is in the caller's memory.
  struct Open {
    std::function<int(std::span<unsigned char> data, std::uint64_t offset)> read = [](auto, auto) {
      return -EIO;
    };
    std::function<int(std::span<const unsigned char> data, std::uint64_t offset)> write;
    std::function<int(unsigned int request, std::uint64_t argument, const CallerMemory& caller)> ioctl =
        [](auto, auto, const auto&) { return -ENOTTY; };
  };

  struct File {
    std::string path;  // an existing file, over which the node is mounted
    std::string name;  // in the trace
    mode_t mode;       // the permissions
    off_t size;        // in bytes; 0 if it has none, and its opens no position
    std::function<Open()> open;
  };

  // Mounts the node until the mount namespace ends. Calls wait until Start. Borrows the trace and the lock,
  // which guards the trace and what the calls of all nodes share. Throws BoardError.
  FuseNode(File servedFile, CallTrace& callTrace, std::mutex& boardLock);
  FuseNode(const FuseNode&) = delete;
  FuseNode& operator=(const FuseNode&) = delete;
  ~FuseNode();

  // Makes the kernel ask for the node's owner. Until then it takes root for the owner, and in a user
  // namespace without root nobody could open the node. Waits for Start, so another process must call it.
  void MakeOwnerKnown() const;

  void Start();

  // Returns when all earlier calls are answered, also closes, for which no caller waits. Later calls wait
  // until the node is destroyed, and then fail.
  void Stop();

 private:
  struct Calls;  // the entry points for libfuse

  File file;
  CallTrace& trace;
  std::mutex& lock;
  std::uint64_t opens = 0;
  std::map<std::uint64_t, Open> openFiles;  // by number of the open
  std::unique_ptr<fuse_session, void (*)(fuse_session*)> session;
  Descriptor node;     // with O_PATH, since an open that needs an answer would wait for Start
  bool served = true;  // used by the server alone; false ends it
  std::thread server;
};
