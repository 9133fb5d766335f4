#include "i2c/LinuxI2CMasterBus.h"

#include <fcntl.h>
#include <linux/i2c-dev.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include "platform/EventFactory.h"

LinuxI2CMasterBus::LinuxI2CMasterBus(const std::filesystem::path& device)
    : fd(-1), delayEvent(EventFactory::GetUniqueSimpleEvent(EventFactory::Reset::AutoReset)) {
  fd = open(device.c_str(), O_RDWR);
}

LinuxI2CMasterBus::~LinuxI2CMasterBus() {
  close(fd);
}

void LinuxI2CMasterBus::SetBusSpeed(unsigned int /*speed*/) {}

unsigned int LinuxI2CMasterBus::GetBusSpeed() const {
  return 0;
}

void LinuxI2CMasterBus::HandleTransaction(I2C::Transaction* transaction) {
  transaction->success = false;
  if (!SelectSlave(*transaction)) return;

  switch (transaction->type) {
    case I2C::TransactionType::Read:
      ReadData(transaction);
      break;
    case I2C::TransactionType::Write:
      WriteData(transaction);
      break;
    case I2C::TransactionType::WriteThenRead:
      WriteData(transaction);
      if (transaction->success) ReadData(transaction);
      break;
    case I2C::TransactionType::WriteDelayRead:
      if (transaction->delayMs == Event::NoTimeout) break;
      WriteData(transaction);
      if (!transaction->success) break;
      delayEvent->Wait(transaction->delayMs);
      ReadData(transaction);
      break;
    case I2C::TransactionType::ReadMem:
      ReadMem(transaction);
      break;
    case I2C::TransactionType::WriteMem:
      WriteMem(transaction);
      break;
    default:
      break;
  }
}

void LinuxI2CMasterBus::ReadData(I2C::Transaction* transaction) {
  const ssize_t moved = read(fd, transaction->readBuffer, transaction->readLength);
  transaction->success = moved > 0 && moved == static_cast<ssize_t>(transaction->readLength);
}

void LinuxI2CMasterBus::WriteData(I2C::Transaction* transaction) {
  const ssize_t moved = write(fd, transaction->writeBuffer, transaction->writeLength);
  transaction->success = moved > 0 && moved == static_cast<ssize_t>(transaction->writeLength);
}

void LinuxI2CMasterBus::ReadMem(I2C::Transaction* transaction) {
  transaction->success = false;
}

void LinuxI2CMasterBus::WriteMem(I2C::Transaction* transaction) {
  transaction->success = false;
}

bool LinuxI2CMasterBus::SelectSlave(const I2C::Transaction& transaction) const {
  const unsigned long address = transaction.address;
  const unsigned long tenBit = transaction.addressMode == I2C::AddressMode::SevenBit ? 0 : 1;
  return ioctl(fd, I2C_SLAVE, address) >= 0 && ioctl(fd, I2C_TENBIT, tenBit) >= 0;
}
