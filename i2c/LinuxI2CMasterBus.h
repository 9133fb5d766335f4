// A bus on one of the kernel's i2c-dev nodes (kernel document i2c/dev-interface).
//
// Each attempt at a transaction selects the slave address (I2C_SLAVE, so an address that a kernel driver
// holds is refused) and its width (I2C_TENBIT), then moves the bytes with plain read and write: a write
// followed by a read is two messages with a stop condition between them. A transfer that moved nothing, or
// fewer bytes than asked, has failed, and a repeated WriteThenRead writes again.
//
// A node that cannot be opened is not reported, but every transfer then returns 0. The kernel sets the bus
// speed: SetBusSpeed does nothing, and GetBusSpeed returns 0. A WriteDelayRead with a pause of 0xFFFFFFFF,
// which would never end, fails before its write. A shorter pause delays every transaction queued after it.
#pragma once

#include <filesystem>
#include <memory>

#include "i2c/TransactionalizedI2CBus.h"
#include "platform/SimpleEvent.h"

class LinuxI2CMasterBus final : public TransactionalizedI2CBus {
 public:
  // Opens the node at the path `device` for reading and writing. It stays open as long as the bus lives.
  explicit LinuxI2CMasterBus(const std::filesystem::path& device);
  ~LinuxI2CMasterBus() override;

  void SetBusSpeed(unsigned int speed) override;
  [[nodiscard]] unsigned int GetBusSpeed() const override;

 protected:
  void HandleTransaction(I2C::Transaction* transaction) override;

  // Performs one transfer and sets the transaction's `success`. Worker thread only.
  void ReadData(I2C::Transaction* transaction);
  void WriteData(I2C::Transaction* transaction);
  void ReadMem(I2C::Transaction* transaction);
  void WriteMem(I2C::Transaction* transaction);

 private:
  [[nodiscard]] bool SelectSlave(const I2C::Transaction& transaction) const;

  int fd;                                   // -1 when the node could not be opened
  std::unique_ptr<SimpleEvent> delayEvent;  // the pause of WriteDelayRead
};
