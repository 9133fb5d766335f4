// A device node /dev/i2c-N, served over FUSE.
//
// A FUSE file system that is a single file, mounted over the node: the kernel hands every open, ioctl, read,
// write and close on it to this process. Opened with direct_io, so that a read or write arrives as it was
// called, and as nonseekable. What differs from a real node: it is a regular file to stat(), a read or write
// of no bytes doesn't reach it, and 32-bit programs get ENOTTY for requests with a pointer.
//
// Each node has a thread that waits for the kernel's requests: one that waits for all nodes at once would
// take three times as long for a request. Calls on all nodes are carried out one after the other.
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

struct fuse_buf;
struct fuse_session;

class FuseNode final {
 public:
  // Mounts over `path`, an existing file, in the present mount namespace; unmounted when that ends. Calls
  // wait until Start. Borrows the adapter, the trace and the lock, which guards them. Throws BoardError.
  FuseNode(std::string const& path, I2CAdapter& servedAdapter, CallTrace& callTrace, std::mutex& boardLock);
  FuseNode(FuseNode const&) = delete;
  FuseNode& operator=(FuseNode const&) = delete;
  ~FuseNode();

  // Makes the kernel ask for the node's owner; waits for Start, so it is for another process. Until then the
  // kernel takes the owner for root, and in a user namespace without a root nobody could open the node.
  void MakeOwnerKnown() const;

  void Start();

  // Returns when every call made before is answered, closes that nobody waits for included. Later calls wait
  // until the node is destroyed, and fail then.
  void Stop();

 private:
  struct Calls;  // the entry points for libfuse

  void ServeOne(fuse_buf& buffer);

  I2CAdapter& adapter;
  CallTrace& trace;
  std::mutex& lock;
  std::uint64_t opens = 0;
  std::map<std::uint64_t, I2CDevFile> files;  // by number of the open
  std::unique_ptr<fuse_session, void (*)(fuse_session*)> session;
  Descriptor node;     // without a right to read or write: opening it needs no answer
  bool served = true;  // the server's own: false ends it
  std::thread server;
};
