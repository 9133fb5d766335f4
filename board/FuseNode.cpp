#include "board/FuseNode.h"

#define FUSE_USE_VERSION 35
#include <fcntl.h>
#include <fuse_lowlevel.h>
#include <linux/i2c-dev.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <sys/statfs.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "board/BoardError.h"
#include "board/I2CDevFile.h"

namespace {

Descriptor OpenFuse() {
  Descriptor fuse(open("/dev/fuse", O_RDWR | O_CLOEXEC));
  if (fuse.Get() >= 0) return fuse;
  if (errno == ENOENT || errno == ENODEV || errno == ENXIO) {
    throw BoardError("/dev/fuse is missing: load it with 'modprobe fuse', or give it to the container",
                     BoardExit::NotPossibleHere);
  }
  throw BoardError(std::string("/dev/fuse cannot be opened (") + std::strerror(errno) +
                       "): run as root, or allow it with 'chmod 666 /dev/fuse'",
                   BoardExit::NotPossibleHere);
}

struct stat AttributesOf(const FuseNode::File& file) {
  struct stat attributes {};
  attributes.st_ino = FUSE_ROOT_ID;
  attributes.st_mode = S_IFREG | file.mode;
  attributes.st_nlink = 1;
  attributes.st_size = file.size;
  attributes.st_uid = getuid();
  attributes.st_gid = getgid();
  return attributes;
}

bool TakesPointer(unsigned int request) {
  return request == I2C_FUNCS || request == I2C_RDWR || request == I2C_SMBUS;
}

std::string DescribeRequest(unsigned int request, std::uint64_t argument) {
  constexpr std::array<std::pair<unsigned int, const char*>, 9> Names{{{I2C_RETRIES, "I2C_RETRIES"},
                                                                       {I2C_TIMEOUT, "I2C_TIMEOUT"},
                                                                       {I2C_SLAVE, "I2C_SLAVE"},
                                                                       {I2C_SLAVE_FORCE, "I2C_SLAVE_FORCE"},
                                                                       {I2C_TENBIT, "I2C_TENBIT"},
                                                                       {I2C_FUNCS, "I2C_FUNCS"},
                                                                       {I2C_RDWR, "I2C_RDWR"},
                                                                       {I2C_PEC, "I2C_PEC"},
                                                                       {I2C_SMBUS, "I2C_SMBUS"}}};
  std::array<char, 64> text{};
  std::snprintf(text.data(), text.size(), "ioctl 0x%x -", request);
  for (const auto& [number, name] : Names) {
    if (number == request && TakesPointer(request)) {
      std::snprintf(text.data(), text.size(), "ioctl %s -", name);
    } else if (number == request) {
      std::snprintf(text.data(), text.size(), "ioctl %s 0x%llx", name,
                    static_cast<unsigned long long>(argument));
    }
  }
  return text.data();
}

// A call on the node, from its request to its answer, which holds the board's lock.
class Call final {
 public:
  Call(CallTrace& callTrace, std::mutex& boardLock, fuse_req_t request, const std::string& name,
       std::uint64_t open)
      : lock(boardLock), trace(callTrace) {
    trace.Begin(fuse_req_ctx(request)->pid, name, open);
  }
  void End(const std::string& text, int result) { trace.End(text, result); }

 private:
  std::lock_guard<std::mutex> lock;
  CallTrace& trace;
};

}  // namespace

struct FuseNode::Calls {
  static FuseNode& NodeOf(fuse_req_t request) { return *static_cast<FuseNode*>(fuse_req_userdata(request)); }

  static const Open& OpenOf(fuse_req_t request, const fuse_file_info* info) {
    return NodeOf(request).openFiles.at(info->fh);
  }

  static Call Begin(fuse_req_t request, const fuse_file_info* info) {
    const FuseNode& node = NodeOf(request);
    return {node.trace, node.lock, request, node.file.name, info->fh};
  }

  static void GetAttributes(fuse_req_t request, fuse_ino_t /*inode*/, fuse_file_info* /*info*/) {
    const struct stat attributes = AttributesOf(NodeOf(request).file);
    fuse_reply_attr(request, &attributes, 3600);
  }

  // Opening a device node or a file in sysfs with O_TRUNC is no error and changes nothing.
  static void SetAttributes(fuse_req_t request, fuse_ino_t inode, struct stat* /*attributes*/, int /*which*/,
                            fuse_file_info* info) {
    GetAttributes(request, inode, info);
  }

  // Stop calls it to learn that all earlier requests are answered.
  static void GetFileSystem(fuse_req_t request, fuse_ino_t /*inode*/) {
    if (fuse_req_ctx(request)->pid == getpid()) NodeOf(request).served = false;
    const struct statvfs status {};
    fuse_reply_statfs(request, &status);
  }

  static void Opened(fuse_req_t request, fuse_ino_t /*inode*/, fuse_file_info* info) {
    FuseNode& node = NodeOf(request);
    info->fh = ++node.opens;
    info->direct_io = 1;
    info->nonseekable = node.file.size == 0 ? 1 : 0;
    Call call = Begin(request, info);
    node.openFiles.emplace(info->fh, node.file.open());
    call.End("open", 0);
    fuse_reply_open(request, info);
  }

  static void Release(fuse_req_t request, fuse_ino_t /*inode*/, fuse_file_info* info) {
    Call call = Begin(request, info);
    NodeOf(request).openFiles.erase(info->fh);
    call.End("close", 0);
    fuse_reply_err(request, 0);
  }

  static void Read(fuse_req_t request, fuse_ino_t /*inode*/, std::size_t length, off_t offset,
                   fuse_file_info* info) {
    Call call = Begin(request, info);
    std::vector<unsigned char> data(std::min(length, I2CDevFile::MaxTransfer));
    const int result = OpenOf(request, info).read(data, static_cast<std::uint64_t>(offset));
    call.End("read " + std::to_string(length), result);
    if (result < 0) {
      fuse_reply_err(request, -result);
    } else {
      fuse_reply_buf(request, reinterpret_cast<const char*>(data.data()), static_cast<std::size_t>(result));
    }
  }

  static void Write(fuse_req_t request, fuse_ino_t /*inode*/, const char* bytes, std::size_t length,
                    off_t offset, fuse_file_info* info) {
    Call call = Begin(request, info);
    const std::span data(reinterpret_cast<const unsigned char*>(bytes),
                         std::min(length, I2CDevFile::MaxTransfer));
    const int result = OpenOf(request, info).write(data, static_cast<std::uint64_t>(offset));
    call.End("write " + std::to_string(length), result);
    if (result < 0) {
      fuse_reply_err(request, -result);
    } else {
      fuse_reply_write(request, static_cast<std::size_t>(result));
    }
  }

  static void Ioctl(fuse_req_t request, fuse_ino_t /*inode*/, unsigned int number, void* argument,
                    fuse_file_info* info, unsigned int flags, const void* /*input*/,
                    std::size_t /*inputSize*/, std::size_t /*outputSize*/) {
    Call call = Begin(request, info);
    const auto value = static_cast<std::uint64_t>(reinterpret_cast<std::uintptr_t>(argument));
    const bool refused = (flags & FUSE_IOCTL_COMPAT) != 0 && TakesPointer(number);
    const CallerMemory caller(fuse_req_ctx(request)->pid);
    const int result = refused ? -ENOTTY : OpenOf(request, info).ioctl(number, value, caller);
    call.End(DescribeRequest(number, value), result);
    if (result < 0) {
      fuse_reply_err(request, -result);
    } else {
      fuse_reply_ioctl(request, result, nullptr, 0);
    }
  }

  static fuse_lowlevel_ops Table() {
    fuse_lowlevel_ops table{};
    table.getattr = GetAttributes;
    table.setattr = SetAttributes;
    table.statfs = GetFileSystem;
    table.open = Opened;
    table.release = Release;
    table.read = Read;
    table.write = Write;
    table.ioctl = Ioctl;
    return table;
  }
};

FuseNode::FuseNode(File servedFile, CallTrace& callTrace, std::mutex& boardLock)
    : file(std::move(servedFile)), trace(callTrace), lock(boardLock), session(nullptr, fuse_session_destroy) {
  const std::string& path = file.path;
  Descriptor fuse = OpenFuse();
  // allow_other: the command may change its user. default_permissions: the kernel heeds the file's mode.
  const std::string options = "fd=" + std::to_string(fuse.Get()) +
                              ",rootmode=100000,user_id=" + std::to_string(getuid()) +
                              ",group_id=" + std::to_string(getgid()) + ",allow_other,default_permissions";
  if (mount("brindle-board", path.c_str(), "fuse", MS_NOSUID | MS_NODEV, options.c_str()) != 0) {
    throw BoardError("mounting FUSE on " + path + " is refused (" + std::strerror(errno) +
                         "): run as root, or allow FUSE in user namespaces",
                     BoardExit::NotPossibleHere);
  }
  node = Descriptor(open(path.c_str(), O_PATH | O_CLOEXEC));
  if (node.Get() < 0) throw BoardError(path + ": " + std::strerror(errno));

  std::string name = "brindle-board";
  std::array<char*, 1> arguments{name.data()};
  fuse_args all = FUSE_ARGS_INIT(static_cast<int>(arguments.size()), arguments.data());
  const fuse_lowlevel_ops table = Calls::Table();
  session.reset(fuse_session_new(&all, &table, sizeof table, this));
  fuse_opt_free_args(&all);
  // This name tells libfuse that the descriptor is mounted already.
  const std::string mounted = "/dev/fd/" + std::to_string(fuse.Get());
  if (!session || fuse_session_mount(session.get(), mounted.c_str()) != 0) {
    throw BoardError("libfuse refuses to serve " + path);
  }
  static_cast<void>(fuse.Release());  // the session closes it
}

FuseNode::~FuseNode() {
  Stop();
}

void FuseNode::MakeOwnerKnown() const {
  struct stat status {};
  static_cast<void>(fstat(node.Get(), &status));  // when it fails, so does the command's open
}

void FuseNode::Start() {
  server = std::thread([this] {
    fuse_buf buffer{};
    while (served && !fuse_session_exited(session.get())) {
      if (fuse_session_receive_buf(session.get(), &buffer) > 0) {
        fuse_session_process_buf(session.get(), &buffer);
      }
    }
    std::free(buffer.mem);
  });
}

void FuseNode::Stop() {
  if (!server.joinable()) return;
  struct statfs status {};
  static_cast<void>(fstatfs(node.Get(), &status));  // comes after all earlier requests and ends the server
  server.join();
}
