#include "board/SmbusCall.h"

#include <algorithm>
#include <cerrno>

SmbusCall::SmbusCall(bool reads, unsigned char command, std::uint32_t transactionSize)
    : read(reads), size(transactionSize), sent{command} {}

std::size_t SmbusCall::DataSize() const {
  if (size == I2C_SMBUS_BYTE || size == I2C_SMBUS_BYTE_DATA) return 1;
  if (size == I2C_SMBUS_WORD_DATA || size == I2C_SMBUS_PROC_CALL) return 2;
  return data.size();
}

int SmbusCall::Prepare(unsigned int address, bool tenBit) {
  std::size_t length = 0;
  switch (size) {
    case I2C_SMBUS_QUICK:
      sent.clear();
      break;
    case I2C_SMBUS_BYTE:
      length = read ? 1 : 0;
      break;
    case I2C_SMBUS_BYTE_DATA:
      length = 1;
      break;
    case I2C_SMBUS_WORD_DATA:
      length = 2;
      break;
    case I2C_SMBUS_I2C_BLOCK_DATA:
      length = data[0];
      if (length > I2C_SMBUS_BLOCK_MAX) return -EINVAL;
      break;
    default:
      return -EOPNOTSUPP;
  }
  bool const sendsCommand = !read || (size != I2C_SMBUS_QUICK && size != I2C_SMBUS_BYTE);
  auto* const payload = data.begin() + (size == I2C_SMBUS_I2C_BLOCK_DATA ? 1 : 0);
  if (!read) sent.insert(sent.end(), payload, payload + length);
  if (sendsCommand) messages.push_back({address, tenBit, false, sent});
  if (!read) return 0;
  received.resize(length);
  messages.push_back({address, tenBit, true, received});
  return 0;
}

std::span<unsigned char const> SmbusCall::Received() {
  std::copy(received.begin(), received.end(), data.begin() + (size == I2C_SMBUS_I2C_BLOCK_DATA ? 1 : 0));
  return Data();
}
