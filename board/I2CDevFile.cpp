#include "board/I2CDevFile.h"

#include <linux/i2c-dev.h>
#include <linux/i2c.h>

#include <cerrno>
#include <climits>

#include "board/BoardTree.h"

namespace {

// The caller's messages, with buffers in this process.
class UserMessages final {
 public:
  // Copies them from the caller. Returns 0 or a negative error.
  int Fetch(const i2c_rdwr_ioctl_data& request, const CallerMemory& caller);

  // Copies what was received to the caller. Returns whether that was possible.
  [[nodiscard]] bool ReturnReceived(const CallerMemory& caller) const;

  [[nodiscard]] std::span<const EmulatedBus::Message> Get() const { return messages; }

 private:
  std::vector<i2c_msg> userMessages;
  std::vector<std::vector<unsigned char>> buffers;
  std::vector<EmulatedBus::Message> messages;
};

std::uint64_t AddressOf(const void* pointer) {
  return reinterpret_cast<std::uintptr_t>(pointer);
}

int UserMessages::Fetch(const i2c_rdwr_ioctl_data& request, const CallerMemory& caller) {
  userMessages.resize(request.nmsgs);
  const std::span<i2c_msg> all(userMessages);
  if (!caller.Read(AddressOf(request.msgs),
                   {reinterpret_cast<unsigned char*>(all.data()), all.size_bytes()})) {
    return -EFAULT;
  }
  for (const i2c_msg& message : userMessages) {
    if (message.len > I2CDevFile::MaxTransfer || (message.flags & I2C_M_RECV_LEN) != 0) return -EINVAL;
    auto& buffer = buffers.emplace_back(message.len);
    if (!caller.Read(AddressOf(message.buf), buffer)) return -EFAULT;
    messages.push_back(
        {message.addr, (message.flags & I2C_M_TEN) != 0, (message.flags & I2C_M_RD) != 0, buffer});
  }
  return 0;
}

bool UserMessages::ReturnReceived(const CallerMemory& caller) const {
  for (std::size_t i = 0; i < messages.size(); ++i) {
    if (messages[i].read && !caller.Write(AddressOf(userMessages[i].buf), buffers[i])) return false;
  }
  return true;
}

// Returns how many bytes of the caller's i2c_smbus_data the kernel copies.
std::size_t SmbusDataSize(std::uint32_t size) {
  if (size == I2C_SMBUS_BYTE || size == I2C_SMBUS_BYTE_DATA) return 1;
  if (size == I2C_SMBUS_WORD_DATA || size == I2C_SMBUS_PROC_CALL) return 2;
  return sizeof(i2c_smbus_data);
}

}  // namespace

int I2CDevFile::Write(std::span<const unsigned char> data) {
  std::vector<unsigned char> copy(data.begin(), data.end());
  return adapter->Transfer(MessageOf(false, copy));
}

int I2CDevFile::Read(std::span<unsigned char> data) {
  return adapter->Transfer(MessageOf(true, data));
}

int I2CDevFile::Ioctl(unsigned int request, std::uint64_t argument, const CallerMemory& caller) {
  switch (request) {
    case I2C_SLAVE:
      return SetAddress(argument, false);
    case I2C_SLAVE_FORCE:
      return SetAddress(argument, true);
    case I2C_TENBIT:
      tenBit = argument != 0;
      return 0;
    case I2C_PEC:
      return 0;
    case I2C_FUNCS:
      return caller.WriteObject(argument, adapter->Functions()) ? 0 : -EFAULT;
    case I2C_RDWR:
      return TransferMessages(argument, caller);
    case I2C_SMBUS:
      return TransferSmbus(argument, caller);
    case I2C_RETRIES:
    case I2C_TIMEOUT:
      return argument > INT_MAX ? -EINVAL : 0;
    default:
      return -ENOTTY;
  }
}

EmulatedBus::Message I2CDevFile::MessageOf(bool read, std::span<unsigned char> data) const {
  return {address, tenBit, read, data};
}

int I2CDevFile::SetAddress(std::uint64_t newAddress, bool force) {
  if (newAddress > (tenBit ? 0x3FFU : 0x7FU)) return -EINVAL;
  const auto slave = static_cast<unsigned int>(newAddress);
  if (!force && BoardTree::IsClaimed(adapter->Number(), slave)) return -EBUSY;
  address = slave;
  return 0;
}

int I2CDevFile::TransferMessages(std::uint64_t argument, const CallerMemory& caller) {
  i2c_rdwr_ioctl_data request{};
  if (!caller.ReadObject(argument, request)) return -EFAULT;
  if (!request.msgs || request.nmsgs == 0 || request.nmsgs > I2C_RDWR_IOCTL_MAX_MSGS) return -EINVAL;
  UserMessages messages;
  const int fetched = messages.Fetch(request, caller);
  if (fetched < 0) return fetched;
  const int result = adapter->Transfer(messages.Get());
  return result < 0 || messages.ReturnReceived(caller) ? result : -EFAULT;
}

int I2CDevFile::TransferSmbus(std::uint64_t argument, const CallerMemory& caller) {
  i2c_smbus_ioctl_data request{};
  if (!caller.ReadObject(argument, request)) return -EFAULT;
  std::uint32_t size = request.size;
  const bool read = request.read_write == I2C_SMBUS_READ;
  if (size > I2C_SMBUS_I2C_BLOCK_DATA || (!read && request.read_write != I2C_SMBUS_WRITE)) return -EINVAL;

  i2c_smbus_data data{};
  std::span<unsigned char> buffer;
  if (size != I2C_SMBUS_QUICK && (read || size != I2C_SMBUS_BYTE)) {
    if (!request.data) return -EINVAL;
    buffer = std::span(data.block).first(SmbusDataSize(size));
  }
  const std::uint64_t userData = AddressOf(request.data);
  if ((!read || size == I2C_SMBUS_I2C_BLOCK_DATA) && !caller.Read(userData, buffer)) return -EFAULT;
  if (size == I2C_SMBUS_I2C_BLOCK_BROKEN) {  // the old convention, in which a read is always of 32 bytes
    size = I2C_SMBUS_I2C_BLOCK_DATA;
    if (read) data.block[0] = I2C_SMBUS_BLOCK_MAX;
  }
  const int result = adapter->TransferSmbus(address, tenBit, read, request.command, size, data);
  if (result < 0 || !read) return result;
  return caller.Write(userData, buffer) ? 0 : -EFAULT;
}
