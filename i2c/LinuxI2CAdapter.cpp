#include "i2c/LinuxI2CAdapter.h"

#include <fcntl.h>
#include <linux/i2c-dev.h>
#include <linux/i2c.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <cerrno>
#include <charconv>
#include <cstdio>
#include <string_view>
#include <vector>

#include "i2c/LinuxI2CFactory.h"

namespace {

constexpr std::string_view NodePrefix = "/dev/i2c-";

}  // namespace

std::optional<LinuxI2CAdapter> LinuxI2CAdapter::AtNode(const std::string& path) {
  if (!path.starts_with(NodePrefix)) return std::nullopt;
  const char* const end = path.data() + path.size();
  unsigned int number = 0;
  const auto [stop, error] = std::from_chars(path.data() + NodePrefix.size(), end, number);
  if (error != std::errc() || stop != end) return std::nullopt;
  return LinuxI2CAdapter(number);
}

std::string LinuxI2CAdapter::Node() const {
  return std::string(NodePrefix) + std::to_string(number);
}

std::optional<LinuxI2CAdapter::Driver> LinuxI2CAdapter::DriverAt(unsigned short slave) const {
  char device[32];
  std::snprintf(device, sizeof device, "%u-%04x", number, slave);
  const std::filesystem::path folder = LinuxI2CFactory::DevicesDirectory() / device;
  std::error_code error;
  const std::string name = std::filesystem::read_symlink(folder / "driver", error).filename();
  if (error) return std::nullopt;
  const std::filesystem::path eeprom = folder / "eeprom";
  return Driver{name, device, std::filesystem::exists(eeprom, error) ? eeprom : std::filesystem::path()};
}

LinuxI2CAdapter::Service LinuxI2CAdapter::Examine() const {
  const int fd = open(Node().c_str(), O_RDWR | O_CLOEXEC);
  if (fd < 0) return Service::None;
  unsigned long functions = 0;
  const bool isAdapter = ioctl(fd, I2C_FUNCS, &functions) >= 0;
  close(fd);
  if (!isAdapter) {
    errno = ENOTTY;
    return Service::None;
  }
  return (functions & I2C_FUNC_I2C) != 0 ? Service::PlainI2C : Service::SMBusOnly;
}

bool LinuxI2CAdapter::TakesMessage(std::size_t length) const {
  constexpr unsigned long ReservedAddress = 0x03;
  const int fd = open(Node().c_str(), O_RDWR | O_CLOEXEC);
  if (fd < 0) return true;
  const std::vector<unsigned char> message(length);
  const bool isRefused = ioctl(fd, I2C_SLAVE, ReservedAddress) >= 0 &&
                         write(fd, message.data(), message.size()) < 0 && errno == EOPNOTSUPP;
  close(fd);
  return !isRefused;
}
