// A device node /dev/i2c-N, served over FUSE.
//
// The node is a FUSE file system of a single file: the kernel passes every open, ioctl, read, write and close
// to this process. direct_io lets each read or write arrive as it was called. Unlike a real node, it is a
// regular file to stat(), a read or write of no bytes does not reach it, and 32-bit programs get ENOTTY for
// requests with a pointer.
//
// Each node has a thread that waits for requests: one thread for all nodes would take three times as long for
// a request. Calls on all nodes are performed one after the other.
#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <thread>

#include "board/CallTrace.h"
#include "board/Descriptor.h"
#include "board/I2CAdapter.h"
#include "board/I2CDevFile.h"

struct fuse_session;

class FuseNode final {
 public:
  // Mounts the node over `path`, an existing file, until the mount namespace ends. Calls wait until Start.
  // Borrows the adapter, the trace and the lock, which guards both. Throws BoardError.
  FuseNode(const std::string& path, I2CAdapter& servedAdapter, CallTrace& callTrace, std::mutex& boardLock);
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

  I2CAdapter& adapter;
  CallTrace& trace;
  std::mutex& lock;
  std::uint64_t opens = 0;
  std::map<std::uint64_t, I2CDevFile> files;  // by number of the open
  std::unique_ptr<fuse_session, void (*)(fuse_session*)> session;
  Descriptor node;     // with O_PATH, since an open that needs an answer would wait for Start
  bool served = true;  // used by the server alone; false ends it
  std::thread server;
};
