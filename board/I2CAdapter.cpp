#include "board/I2CAdapter.h"

#include <cerrno>
#include <vector>

int I2CAdapter::Transfer(std::span<const EmulatedBus::Message> messages) {
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
  const int transferred = Transfer(messages);
  if (transferred < 0) return transferred;
  return static_cast<std::size_t>(transferred) == messages.size() ? 0 : -EIO;
}
