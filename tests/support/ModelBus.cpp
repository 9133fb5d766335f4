#include "support/ModelBus.h"

#include <utility>

#include "platform/Event.h"

namespace {

constexpr int NoChip = -6;  // -ENXIO

}  // namespace

ModelWire::ModelWire(std::initializer_list<EmulatedChip*> attached, Clock timeSource)
    : chips(attached), clock(std::move(timeSource)) {}

bool ModelWire::Perform(I2C::Transaction const& transaction) {
  switch (transaction.type) {
    case I2C::TransactionType::Read:
      return Fetch(transaction);
    case I2C::TransactionType::Write:
      return Send(transaction);
    case I2C::TransactionType::WriteThenRead:
      return Send(transaction) && Fetch(transaction);
    default:
      return false;
  }
}

bool ModelWire::Send(I2C::Transaction const& transaction) {
  const std::span bytes(transaction.writeBuffer, transaction.writeLength);
  if (bytes.empty()) return false;
  EmulatedChip* const chip = ChipAt(transaction.address);
  const int moved = chip != nullptr ? chip->Write(transaction.address, bytes, clock()) : NoChip;
  Keep(transaction.address, false, bytes, moved);
  return moved == static_cast<int>(bytes.size());
}

bool ModelWire::Fetch(I2C::Transaction const& transaction) {
  const std::span bytes(transaction.readBuffer, transaction.readLength);
  if (bytes.empty()) return false;
  EmulatedChip* const chip = ChipAt(transaction.address);
  const int moved = chip != nullptr ? chip->Read(transaction.address, bytes, clock()) : NoChip;
  Keep(transaction.address, true, bytes, moved);
  return moved == static_cast<int>(bytes.size());
}

EmulatedChip* ModelWire::ChipAt(unsigned short slave) const {
  for (EmulatedChip* const chip : chips) {
    if (chip->AnswersAt(slave)) return chip;
  }
  return nullptr;
}

void ModelWire::Keep(unsigned short slave, bool isRead, std::span<unsigned char const> bytes, int moved) {
  if (!isRecording) return;
  messages.push_back({slave, isRead, {bytes.begin(), bytes.end()}, moved, clock()});
}

int ModelBus::Read(unsigned char* buffer, unsigned int length, unsigned short address,
                   I2C::AddressMode mode) {
  return Transfer({.type = I2C::TransactionType::Read,
                   .address = address,
                   .addressMode = mode,
                   .readLength = length,
                   .readBuffer = buffer},
                  length);
}

int ModelBus::Write(unsigned char const* buffer, unsigned int length, unsigned short address,
                    I2C::AddressMode mode) {
  return Transfer({.type = I2C::TransactionType::Write,
                   .address = address,
                   .addressMode = mode,
                   .writeLength = length,
                   .writeBuffer = buffer},
                  length);
}

int ModelBus::WriteThenRead(unsigned char const* writeBuffer, unsigned int writeLength,
                            unsigned char* readBuffer, unsigned int readLength, unsigned short address,
                            I2C::AddressMode mode) {
  return Transfer({.type = I2C::TransactionType::WriteThenRead,
                   .address = address,
                   .addressMode = mode,
                   .readLength = readLength,
                   .readBuffer = readBuffer,
                   .writeLength = writeLength,
                   .writeBuffer = writeBuffer},
                  readLength);
}

int ModelBus::WriteDelayRead(unsigned char const* /*writeBuffer*/, unsigned int /*writeLength*/,
                             unsigned char* /*readBuffer*/, unsigned int /*readLength*/,
                             unsigned short /*address*/, I2C::AddressMode /*mode*/,
                             unsigned int /*delayMs*/) {
  return 0;
}

int ModelBus::Transfer(I2C::Transaction transaction, unsigned int count) {
  return Transact(&transaction) && transaction.success ? static_cast<int>(count) : 0;
}

bool ModelBus::Transact(I2C::Transaction* transaction) {
  if (transaction == nullptr) return false;
  transaction->success = false;
  for (unsigned int attempt = 0; attempt < attempts && !transaction->success; ++attempt) {
    transaction->success = wire.Perform(*transaction);
  }
  if (transaction->event != nullptr) transaction->event->Signal(transaction->eventFlags);
  return true;
}

bool ModelBus::Lock() {
  ++locks;
  return true;
}

bool ModelBus::Unlock() {
  ++unlocks;
  return true;
}
