#include "board/I2CDevFile.h"

#include <linux/i2c-dev.h>
#include <linux/i2c.h>

#include <cerrno>
#include <climits>

#include "board/SmbusCall.h"

namespace {

// What the board's controllers offer, as far as the emulation carries it out.
constexpr unsigned long Functions = I2C_FUNC_I2C | I2C_FUNC_10BIT_ADDR | SmbusCall::Functions;

// The caller's messages with buffers on this side.
class UserMessages final {
 public:
  // Returns 0, or a negative error.
  int Fetch(i2c_rdwr_ioctl_data const& request, CallerMemory const& caller);

  // Gives what was received back to the caller.
  [[nodiscard]] bool ReturnReceived(CallerMemory const& caller) const;

  [[nodiscard]] std::span<EmulatedBus::Message const> Get() const { return messages; }

 private:
  std::vector<i2c_msg> userMessages;
  std::vector<std::vector<unsigned char>> buffers;
  std::vector<EmulatedBus::Message> messages;
};

std::uint64_t AddressOf(void const* pointer) {
  return reinterpret_cast<std::uintptr_t>(pointer);
}

int UserMessages::Fetch(i2c_rdwr_ioctl_data const& request, CallerMemory const& caller) {
  userMessages.resize(request.nmsgs);
  std::span<i2c_msg> const all(userMessages);
  if (!caller.Read(AddressOf(request.msgs), {reinterpret_cast<unsigned char*>(all.data()), all.size_bytes()}))
    return -EFAULT;
  for (i2c_msg const& message : userMessages) {
    if (message.len > I2CDevFile::MaxTransfer || (message.flags & I2C_M_RECV_LEN) != 0) return -EINVAL;
    auto& buffer = buffers.emplace_back(message.len);
    if (!caller.Read(AddressOf(message.buf), buffer)) return -EFAULT;
    messages.push_back(
        {message.addr, (message.flags & I2C_M_TEN) != 0, (message.flags & I2C_M_RD) != 0, buffer});
  }
  return 0;
}

bool UserMessages::ReturnReceived(CallerMemory const& caller) const {
  for (std::size_t i = 0; i < messages.size(); ++i)
    if (messages[i].read && !caller.Write(AddressOf(userMessages[i].buf), buffers[i])) return false;
  return true;
}

}  // namespace

int I2CDevFile::Write(std::span<unsigned char const> data) {
  std::vector<unsigned char> copy(data.begin(), data.end());
  return adapter->Bus().Move(MessageOf(false, copy));
}

int I2CDevFile::Read(std::span<unsigned char> data) {
  return adapter->Bus().Move(MessageOf(true, data));
}

int I2CDevFile::Ioctl(unsigned int request, std::uint64_t argument, CallerMemory const& caller) {
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
      return caller.WriteObject(argument, Functions) ? 0 : -EFAULT;
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
  if (!force && adapter->IsClaimed(newAddress)) return -EBUSY;
  address = static_cast<unsigned int>(newAddress);
  return 0;
}

int I2CDevFile::TransferMessages(std::uint64_t argument, CallerMemory const& caller) {
  i2c_rdwr_ioctl_data request{};
  if (!caller.ReadObject(argument, request)) return -EFAULT;
  if (!request.msgs || request.nmsgs == 0 || request.nmsgs > I2C_RDWR_IOCTL_MAX_MSGS) return -EINVAL;
  UserMessages messages;
  int const fetched = messages.Fetch(request, caller);
  if (fetched < 0) return fetched;
  int const result = adapter->Transfer(messages.Get());
  return result < 0 || messages.ReturnReceived(caller) ? result : -EFAULT;
}

int I2CDevFile::TransferSmbus(std::uint64_t argument, CallerMemory const& caller) {
  i2c_smbus_ioctl_data request{};
  if (!caller.ReadObject(argument, request)) return -EFAULT;
  SmbusCall call(request.read_write == I2C_SMBUS_READ, request.command, request.size);
  if (request.read_write != I2C_SMBUS_READ && request.read_write != I2C_SMBUS_WRITE) return -EINVAL;
  if (!call.IsKnown()) return -EINVAL;
  if (call.HasData() && !request.data) return -EINVAL;
  if (call.TakesData() && !caller.Read(AddressOf(request.data), call.Data())) return -EFAULT;
  int const prepared = call.Prepare(address, tenBit);
  if (prepared < 0) return prepared;
  int const result = adapter->Transfer(call.Messages());
  if (result < 0) return result;
  if (static_cast<std::size_t>(result) != call.Messages().size()) return -EIO;
  return !call.ReturnsData() || caller.Write(AddressOf(request.data), call.Received()) ? 0 : -EFAULT;
}
