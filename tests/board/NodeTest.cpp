// Runs on the emulated board, with 0x57 claimed by a kernel driver: the nodes answer as i2c-dev does.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <linux/i2c-dev.h>
#include <linux/i2c.h>
#include <sys/ioctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <climits>
#include <csignal>
#include <cstdint>
#include <thread>
#include <vector>

namespace {

using Bytes = std::vector<unsigned char>;

// An open of a node; results are those of the calls, failures as a negative errno.
class Node final {
 public:
  explicit Node(unsigned long slave = 0x56, char const* path = "/dev/i2c-5") : file(open(path, O_RDWR)) {
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
  [[nodiscard]] int Smbus(bool reads, unsigned char command, unsigned int size, i2c_smbus_data* data) const {
    i2c_smbus_ioctl_data request{reads ? __u8{I2C_SMBUS_READ} : __u8{I2C_SMBUS_WRITE}, command, size, data};
    return Control(I2C_SMBUS, &request);
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
  EXPECT_EQ(node.Control(I2C_RETRIES, 3), 0);
  EXPECT_EQ(node.Control(I2C_TIMEOUT, 1UL + INT_MAX), -EINVAL);
  EXPECT_EQ(node.Control(0x0709, 0), -ENOTTY);
  EXPECT_EQ(node.Control(0x5401, 0), -ENOTTY);
  unsigned long functions = 0;
  EXPECT_EQ(node.Control(I2C_FUNCS, &functions), 0);
  EXPECT_TRUE((functions & I2C_FUNC_I2C) != 0 && (functions & I2C_FUNC_SMBUS_QUICK) != 0);
  EXPECT_EQ(node.Control(I2C_FUNCS, 8UL), -EFAULT);
}

TEST(NodeTest, OnlyTheChipAnswersAndEachOpenHasItsOwnAddress) {
  Node const chip;
  Node const nobody(0x10);
  Node const otherBus(0x56, "/dev/i2c-0");
  Bytes byte(1);
  EXPECT_EQ(chip.Read(byte), 1);
  EXPECT_EQ(nobody.Read(byte), -ENXIO);
  EXPECT_EQ(otherBus.Write({0, 0}), -ENXIO);
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

TEST(NodeTest, CutsTransfersToTheKernelsLimit) {
  Node const node;
  Bytes bytes(10000);
  EXPECT_EQ(node.Read(bytes), 8192);
  EXPECT_EQ(node.WriteWhenReady(Bytes(300000, 0x7F)), 8192);
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

  EXPECT_EQ(node.Transfer({}), -EINVAL);
  EXPECT_EQ(node.Transfer(std::vector(42, MessageOf(false, address))), 42);
  EXPECT_EQ(node.Transfer(std::vector(43, MessageOf(false, address))), -EINVAL);
  Bytes tooLong(8193);
  EXPECT_EQ(node.Transfer({MessageOf(true, tooLong)}), -EINVAL);
  i2c_msg lost = MessageOf(true, read);
  lost.buf = nullptr;
  EXPECT_EQ(node.Transfer({lost}), -EFAULT);
  EXPECT_EQ(node.Control(I2C_RDWR, 8UL), -EFAULT);
}

TEST(NodeTest, CarriesOutSmbusTransactions) {
  Node const node;
  i2c_smbus_data data{};
  EXPECT_EQ(node.Smbus(false, 0, I2C_SMBUS_QUICK, nullptr), 0);
  Bytes const block{4, 0x00, 'a', 'b', 'c'};  // the command is the address' high byte
  std::copy(block.begin(), block.end(), data.block);
  EXPECT_EQ(node.Smbus(false, 0x03, I2C_SMBUS_I2C_BLOCK_DATA, &data), 0);
  while (node.Smbus(false, 0, I2C_SMBUS_QUICK, nullptr) == -ENXIO) std::this_thread::yield();
  EXPECT_EQ(node.Smbus(false, 0x03, I2C_SMBUS_BYTE_DATA, &data), 0) << "sends 0x03 0x04";
  data.byte = 0x00;
  EXPECT_EQ(node.Smbus(false, 0x03, I2C_SMBUS_BYTE_DATA, &data), 0);
  EXPECT_EQ(node.Smbus(true, 0, I2C_SMBUS_BYTE, &data), 0);
  EXPECT_EQ(data.byte, 'a');
  EXPECT_EQ(node.Smbus(true, 0x77, I2C_SMBUS_WORD_DATA, &data), 0);
  EXPECT_EQ(data.word, 'b' + ('c' << 8));

  EXPECT_EQ(node.Smbus(true, 0, 9, &data), -EINVAL);
  EXPECT_EQ(node.Smbus(true, 0, I2C_SMBUS_BYTE, nullptr), -EINVAL);
  data.block[0] = 33;
  EXPECT_EQ(node.Smbus(true, 0, I2C_SMBUS_I2C_BLOCK_DATA, &data), -EINVAL);
  EXPECT_EQ(node.Smbus(true, 0, I2C_SMBUS_BLOCK_DATA, &data), -EOPNOTSUPP);
}

TEST(NodeTest, ServesThreadsWithOpensOfTheirOwn) {
  std::vector<std::thread> threads;
  for (unsigned char number = 0; number < 4; ++number)
    threads.emplace_back([number] {
      Node const node;
      for (unsigned char round = 0; round < 5; ++round) {
        auto const high = static_cast<unsigned char>(0x10 + number);
        EXPECT_EQ(node.WriteWhenReady({high, round, number, round}), 4);
        Bytes address{high, round};
        Bytes read(2);
        while (node.Transfer({MessageOf(false, address), MessageOf(true, read)}) == -ENXIO)
          std::this_thread::yield();
        EXPECT_EQ(read, (Bytes{number, round}));
      }
    });
  for (std::thread& thread : threads) thread.join();
}

TEST(NodeTest, OutlivesKilledClients) {
  for (int round = 0; round < 20; ++round) {
    pid_t const child = fork();
    if (child == 0) {
      Node const node;
      Bytes address{0, 0};
      Bytes bytes(4000);
      while (node.Transfer({MessageOf(false, address), MessageOf(true, bytes)}) == 2) {
      }
      _exit(1);
    }
    std::this_thread::sleep_for(std::chrono::microseconds(500 + 300 * round));  // somewhere in its calls
    kill(child, SIGKILL);
    ASSERT_EQ(waitpid(child, nullptr, 0), child);
    ASSERT_EQ(Node().WriteWhenReady({0, 0}), 2);
  }
}

}  // namespace
