#include "board/I2CAdapter.h"

#include <cerrno>
#include <vector>

unsigned long I2CAdapter::Functions() const {
  constexpr unsigned long Smbus = I2C_FUNC_SMBUS_QUICK | I2C_FUNC_SMBUS_BYTE | I2C_FUNC_SMBUS_BYTE_DATA |
                                  I2C_FUNC_SMBUS_WORD_DATA | I2C_FUNC_SMBUS_I2C_BLOCK;
  return limits.smbusOnly ? Smbus : Smbus | I2C_FUNC_I2C | I2C_FUNC_10BIT_ADDR;
}

int I2CAdapter::Transfer(std::span<const EmulatedBus::Message> messages) {
  return limits.smbusOnly ? -EOPNOTSUPP : TransferWithinLimits(messages);
}

int I2CAdapter::Transfer(const EmulatedBus::Message& message) {
  return limits.smbusOnly || Refuses(message) ? -EOPNOTSUPP : bus.Move(message);
}

bool I2CAdapter::Refuses(const EmulatedBus::Message& message) const {
  return !message.read && message.data.size() > limits.maxWrite;
}

int I2CAdapter::TransferWithinLimits(std::span<const EmulatedBus::Message> messages) {
  for (const EmulatedBus::Message& message : messages) {
    if (Refuses(message)) return -EOPNOTSUPP;
  }
  int transferred = 0;
  for (const EmulatedBus::Message& message : messages) {
    const int result = bus.Move(message);
    if (result < 0) return result;
    if (static_cast<std::size_t>(result) < message.data.size()) break;
    ++transferred;
  }
  return transferred;
}

int I2CAdapter::TransferSmbus(unsigned int address, bool tenBit, bool read, unsigned char command,
                              std::uint32_t size, i2c_smbus_data& data) {
  std::vector<unsigned char> sent{command};
  std::span<unsigned char> payload;
  switch (size) {
    case I2C_SMBUS_QUICK:
      sent.clear();
      break;
    case I2C_SMBUS_BYTE:
      if (!read) break;
      sent.clear();
      [[fallthrough]];
    case I2C_SMBUS_BYTE_DATA:
      payload = std::span(data.block).first(1);
      break;
    case I2C_SMBUS_WORD_DATA:
      payload = std::span(data.block).first(2);
      break;
    case I2C_SMBUS_I2C_BLOCK_DATA:
      if (data.block[0] > I2C_SMBUS_BLOCK_MAX) return -EINVAL;
      payload = std::span(data.block).subspan(1, data.block[0]);
      break;
    default:
      return -EOPNOTSUPP;
  }
  if (!read) sent.insert(sent.end(), payload.begin(), payload.end());
  std::vector<EmulatedBus::Message> messages;
  if (!read || !sent.empty()) messages.push_back({address, tenBit, false, sent});
  if (read) messages.push_back({address, tenBit, true, payload});
  const int transferred = TransferWithinLimits(messages);
  if (transferred < 0) return transferred;
  return static_cast<std::size_t>(transferred) == messages.size() ? 0 : -EIO;
}
