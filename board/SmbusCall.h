// An SMBus transaction in terms of I2C messages, as the kernel's i2c_smbus_xfer_emulated() builds them.
//
// Quick, byte, byte data, word data and I2C block; the others are known but not supported.
#ifndef BOARD_SMBUS_CALL_H
#define BOARD_SMBUS_CALL_H

#include <linux/i2c.h>

#include <array>
#include <cstdint>
#include <span>
#include <vector>

#include "board/EmulatedBus.h"

class SmbusCall final {
 public:
  static constexpr unsigned long Functions = I2C_FUNC_SMBUS_QUICK | I2C_FUNC_SMBUS_BYTE |
                                             I2C_FUNC_SMBUS_BYTE_DATA | I2C_FUNC_SMBUS_WORD_DATA |
                                             I2C_FUNC_SMBUS_I2C_BLOCK;

  // `transactionSize` is the kind of the transaction: I2C_SMBUS_QUICK and so on.
  SmbusCall(bool reads, unsigned char command, std::uint32_t transactionSize);
  SmbusCall(SmbusCall const&) = delete;
  SmbusCall& operator=(SmbusCall const&) = delete;

  [[nodiscard]] bool IsKnown() const { return size <= I2C_SMBUS_I2C_BLOCK_DATA; }

  // Whether the caller has a data buffer, whether it is read before, and whether it is written after.
  [[nodiscard]] bool HasData() const { return size != I2C_SMBUS_QUICK && (read || size != I2C_SMBUS_BYTE); }
  [[nodiscard]] bool TakesData() const { return HasData() && (!read || size == I2C_SMBUS_I2C_BLOCK_DATA); }
  [[nodiscard]] bool ReturnsData() const { return HasData() && read; }

  // The caller's data, to be filled in before Prepare.
  [[nodiscard]] std::span<unsigned char> Data() { return std::span(data).first(DataSize()); }

  // Builds the messages. Returns 0 or a negative error.
  int Prepare(unsigned int address, bool tenBit);
  [[nodiscard]] std::span<EmulatedBus::Message const> Messages() const { return messages; }

  // The caller's data as it is after the transfer.
  [[nodiscard]] std::span<unsigned char const> Received();

 private:
  [[nodiscard]] std::size_t DataSize() const;

  bool read;
  std::uint32_t size;
  std::array<unsigned char, I2C_SMBUS_BLOCK_MAX + 2> data{};
  std::vector<unsigned char> sent;      // begins with the command
  std::vector<unsigned char> received;  // without a block's length
  std::vector<EmulatedBus::Message> messages;
};

#endif
