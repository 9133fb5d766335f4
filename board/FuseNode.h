// A device node /dev/i2c-N, served over FUSE.
//
// A FUSE file system that is a single file, mounted over the node: the kernel hands every open, ioctl, read,
// write and close on it to Serve. Opened with direct_io, so that a read or write arrives as it was called,
// and as nonseekable. What differs from a real node: it is a regular file to stat(), a read or write of no
// bytes doesn't reach it, and 32-bit programs get ENOTTY for requests with a pointer. One thread.
#ifndef BOARD_FUSE_NODE_H
#define BOARD_FUSE_NODE_H

#include <cstdint>
#include <map>
#include <memory>
#include <string>

#include "board/CallTrace.h"
#include "board/I2CAdapter.h"
#include "board/I2CDevFile.h"

struct fuse_buf;
struct fuse_session;

class FuseNode final {
 public:
  // Mounts over `nodePath`, an existing file, in the present mount namespace; unmounted when that ends.
  // Borrows the adapter and the trace. Throws BoardError.
  FuseNode(std::string const& nodePath, I2CAdapter& servedAdapter, CallTrace& callTrace);
  FuseNode(FuseNode const&) = delete;
  FuseNode& operator=(FuseNode const&) = delete;
  ~FuseNode();

  // Makes the kernel ask for the node's owner; for another process than the one that serves. Until then it
  // takes the owner for root, and in a user namespace that has no root nobody could open the node.
  void MakeOwnerKnown() const;

  // To wait on: readable when there is something to serve. -1 when somebody has unmounted the node.
  [[nodiscard]] int WaitDescriptor() const;

  // Answers one request; waits for it when there is none.
  void Serve();

 private:
  struct Calls;  // the entry points for libfuse

  std::string path;
  I2CAdapter& adapter;
  CallTrace& trace;
  std::uint64_t opens = 0;
  std::map<std::uint64_t, I2CDevFile> files;  // by number of the open
  std::unique_ptr<fuse_session, void (*)(fuse_session*)> session;
  std::unique_ptr<fuse_buf> buffer;
};

#endif
