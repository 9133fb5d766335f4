// Runs on the emulated board, with 0x57 claimed by a kernel driver: the nodes answer as i2c-dev does.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <linux/i2c-dev.h>
#include <linux/i2c.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cstdint>
#include <thread>
#include <vector>

namespace {

using Bytes = std::vector<unsigned char>;

// An open of a node; results are those of the calls, failures as a negative errno.
class Node final {
 public:
  explicit Node(unsigned long slave = 0x56) : file(open("/dev/i2c-5", O_RDWR)) {
    EXPECT_EQ(Control(I2C_SLAVE, slave), 0);
  }
  Node(Node const&) = delete;
  Node& operator=(Node const&) = delete;
  ~Node() { close(file); }

  template <typename Argument>
  [[nodiscard]] int Control(unsigned long request, Argument argument) const {
    return ioctl(file, request, argument) < 0 ? -errno : 0;
  }
  [[nodiscard]] int Write(Bytes const& bytes) const {
    return Result(write(file, bytes.data(), bytes.size()));
  }
  [[nodiscard]] int Read(Bytes& bytes) const { return Result(read(file, bytes.data(), bytes.size())); }

  // Sends until the chip has finished its write cycle.
  [[nodiscard]] int WriteWhenReady(Bytes const& bytes) const {
    int result = 0;
    while ((result = Write(bytes)) == -ENXIO) std::this_thread::yield();
    return result;
  }
  [[nodiscard]] int Transfer(std::vector<i2c_msg> messages) const {
    i2c_rdwr_ioctl_data request{messages.data(), static_cast<__u32>(messages.size())};
    int const result = ioctl(file, I2C_RDWR, &request);
    return result < 0 ? -errno : result;
  }

 private:
  static int Result(ssize_t result) { return result < 0 ? -errno : static_cast<int>(result); }

  int file;
};

i2c_msg MessageOf(bool reads, Bytes& bytes, __u16 slave = 0x56) {
  return {slave, reads ? __u16{I2C_M_RD} : __u16{0}, static_cast<__u16>(bytes.size()), bytes.data()};
}

TEST(NodeTest, ChecksTheSlaveAddressAndOtherArguments) {
  Node const node;
  EXPECT_EQ(node.Control(I2C_SLAVE, 0x80), -EINVAL);
  EXPECT_EQ(node.Control(I2C_TENBIT, 1), 0);
  EXPECT_EQ(node.Control(I2C_SLAVE, 0x3FF), 0);
  EXPECT_EQ(node.Control(I2C_SLAVE, 0x400), -EINVAL);
  EXPECT_EQ(node.Control(I2C_TENBIT, 0), 0);
  EXPECT_EQ(node.Control(I2C_SLAVE, 0x57), -EBUSY);
  EXPECT_EQ(node.Control(I2C_SLAVE_FORCE, 0x57), 0);
  EXPECT_EQ(node.Control(0x0709, 0), -ENOTTY);
  EXPECT_EQ(node.Control(I2C_FUNCS, 8UL), -EFAULT);
}

TEST(NodeTest, OnlyTheChipAnswersAndEachOpenHasItsOwnAddress) {
  Node const chip;
  Node const nobody(0x10);
  Bytes byte(1);
  EXPECT_EQ(chip.Read(byte), 1);
  EXPECT_EQ(nobody.Read(byte), -ENXIO);
  EXPECT_EQ(chip.Write({0, 0}), 2);
  EXPECT_EQ(chip.Control(I2C_TENBIT, 1), 0);
  EXPECT_EQ(chip.Read(byte), -ENXIO) << "a ten-bit address is another one";
}

TEST(NodeTest, KeepsTheWriteCycleInRealTime) {
  Node const node;
  Bytes bytes(3);
  ASSERT_EQ(node.WriteWhenReady({0, 0}), 2);
  auto const start = std::chrono::steady_clock::now();
  ASSERT_EQ(node.Write({0x01, 0x00, 7, 8, 9}), 5);
  EXPECT_EQ(node.WriteWhenReady({0x01, 0x00}), 2);
  EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(5));
  EXPECT_EQ(node.Read(bytes), 3);
  EXPECT_EQ(bytes, (Bytes{7, 8, 9}));
}

TEST(NodeTest, MovesCombinedMessagesAsOneTransfer) {
  Node const node(0x10);  // each message brings its own address
  Bytes write{0x02, 0x00, 1, 2, 3};
  while (node.Transfer({MessageOf(false, write)}) == -ENXIO) std::this_thread::yield();
  Bytes address{0x02, 0x01};
  Bytes read(2);
  while (node.Transfer({MessageOf(false, address), MessageOf(true, read)}) == -ENXIO)
    std::this_thread::yield();
  EXPECT_EQ(read, (Bytes{2, 3}));
  EXPECT_EQ(node.Transfer({MessageOf(false, address), MessageOf(true, read, 0x10)}), -ENXIO);

  EXPECT_EQ(node.Transfer(std::vector(43, MessageOf(false, address))), -EINVAL);
  Bytes tooLong(8193);
  EXPECT_EQ(node.Transfer({MessageOf(true, tooLong)}), -EINVAL);
  EXPECT_EQ(Node().Read(tooLong), 8192) << "a plain read is cut";
}

}  // namespace
