// Runs in a mount namespace of its own, with an empty file system in the place of /dev and of /sys/bus, so
// that the search finds what the test puts there and nothing of this machine.
#include <gmock/gmock.h>
#include <sched.h>
#include <sys/mount.h>
#include <sys/stat.h>

#include <cstring>
#include <fstream>

#include "i2c/STM32MPxI2CFactory.h"
#include "support/Wrap.h"

namespace fs = std::filesystem;

namespace {

std::string openedNode;

const fs::path Devices = "/sys/bus/i2c/devices";
const fs::path Adapters = "/sys/bus/adapters";

}  // namespace

WRAP(int, open, char const* path, int flags, ...) {
  return openedNode = path, __real_open(path, flags);
}

namespace {

class LinuxI2CFactoryTest : public testing::Test {
 protected:
  void SetUp() override {
    if (unshare(CLONE_NEWNS) != 0 && unshare(CLONE_NEWUSER | CLONE_NEWNS) != 0) {
      GTEST_SKIP() << "a mount namespace of one's own is refused here: " << std::strerror(errno);
    }
    ASSERT_EQ(mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr), 0) << std::strerror(errno);
    ASSERT_EQ(mount("none", "/dev", "tmpfs", 0, nullptr), 0) << std::strerror(errno);
    ASSERT_EQ(mount("none", "/sys/bus", "tmpfs", 0, nullptr), 0) << std::strerror(errno);
    fs::create_directories(Devices);
  }

  // An adapter as the kernel lists it: a link to a directory that holds a name, and a node.
  static void Add(std::string const& entry, std::string const& name) {
    fs::create_directories(Adapters / entry);
    fs::create_directory_symlink(Adapters / entry, Devices / entry);
    std::ofstream(Adapters / entry / "name") << name;
    std::ofstream("/dev/" + entry) << "";
  }

  // The node that the bus at `address` is made on; empty when there is none.
  static std::string NodeAt(unsigned long address) {
    openedNode.clear();
    const auto bus = LinuxI2CFactory().GetBus(address);
    EXPECT_EQ(bus == nullptr, openedNode.empty());
    return openedNode;
  }
};

TEST_F(LinuxI2CFactoryTest, ReadsTheAddressOutOfTheName) {
  struct {
    char const* name;
    unsigned long address;
    bool found;
  } const cases[] = {
      {"STM32F7 I2C(0x0000000040150000)\n", 0x40150000, true},
      {"STM32F7 I2C(0x40150000)\n", 0x40150000, true},
      {"I2C(0xabcdef)", 0xABCDEF, true},
      {"I2C(0xABCDEF)", 0xABCDEF, true},
      {"(1) I2C(0x12) I2C(0x34)", 0x12, true},
      {"I2C(0x)", 0, true},
      {"I2C(0xyz)", 0, true},
      {"I2C(0x 0x12yz)", 0x12, true},
      {"I2C(0xFFFFFFFFFFFFFFFE)", 0xFFFFFFFFFFFFFFFE, true},
      {") I2C(0x12", 0x12, false},
      {"I2C(0X12)", 0x12, false},
      {"cat24c256", 0, false},
      {"", 0, false},
  };
  for (auto const& row : cases) {
    SCOPED_TRACE(row.name);
    Add("i2c-5", row.name);
    EXPECT_EQ(NodeAt(row.address), row.found ? "/dev/i2c-5" : "");
    EXPECT_EQ(NodeAt(row.address + 1), "");
    fs::remove("/dev/i2c-5");
    EXPECT_EQ(NodeAt(row.address), "");  // no node
    fs::remove(Devices / "i2c-5");
  }
}

TEST_F(LinuxI2CFactoryTest, KeepsTheFirstAdapterAndMakesABusForEveryRequest) {
  for (char const* const entry : {"i2c-1", "i2c-2", "i2c-3"}) Add(entry, "I2C(0x40150000)");
  EXPECT_EQ(NodeAt(0x40150000), "/dev" / fs::directory_iterator(Devices)->path().filename());
  STM32MPxI2CFactory factory;
  const auto first = factory.GetBus(I2C::Bus::I2C4);
  const auto second = factory.GetBus(0x40150000);
  EXPECT_TRUE(first != nullptr && second != nullptr && first != second);
  EXPECT_EQ(factory.GetBus(I2C::Bus::I2C1), nullptr);
  EXPECT_EQ(factory.GetBus(I2C::Bus{7}), nullptr);
  fs::remove(Adapters / "i2c-1" / "name");
  ASSERT_EQ(mkfifo((Adapters / "i2c-1" / "name").c_str(), 0600), 0);  // to open it would wait for ever
  EXPECT_NE(NodeAt(0x40150000), "");
  fs::remove_all("/sys/bus/i2c");
  EXPECT_EQ(NodeAt(0x40150000), "");
}

}  // namespace
