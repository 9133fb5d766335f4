#include "support/ChipBus.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>

#include "platform/Event.h"
#include "support/VirtualClock.h"

namespace {

constexpr int NoChip = -6;  // -ENXIO

[[noreturn]] void Abort(const char* what) {
  std::fprintf(stderr, "%s\n", what);
  std::abort();
}

}  // namespace

bool ChipBus::Transact(I2C::Transaction* transaction) {
  transaction->success = false;
  for (unsigned int i = 0; i < attempts && !transaction->success; ++i) HandleTransaction(transaction);
  if (transaction->event != nullptr) transaction->event->Signal(transaction->eventFlags);
  return true;
}

int ChipBus::Read(unsigned char* buffer, unsigned int length, unsigned short slave, I2C::AddressMode mode) {
  return Answer(TransactionalizedI2CBus::Read(buffer, length, slave, mode));
}

int ChipBus::Write(const unsigned char* data, unsigned int length, unsigned short slave,
                   I2C::AddressMode mode) {
  return Answer(TransactionalizedI2CBus::Write(data, length, slave, mode));
}

int ChipBus::WriteThenRead(const unsigned char* data, unsigned int writeLength, unsigned char* buffer,
                           unsigned int readLength, unsigned short slave, I2C::AddressMode mode) {
  return Answer(TransactionalizedI2CBus::WriteThenRead(data, writeLength, buffer, readLength, slave, mode));
}

bool ChipBus::Lock() {
  ++locks;
  return true;
}

bool ChipBus::Unlock() {
  if (locks == 0) Abort("the bus is unlocked twice");
  --locks;
  return true;
}

void ChipBus::HandleTransaction(I2C::Transaction* transaction) {
  using Type = I2C::TransactionType;
  const Type type = transaction->type;
  const unsigned short slave = transaction->address;
  const bool writes = type == Type::Write || type == Type::WriteThenRead;
  const bool reads = type == Type::Read || type == Type::WriteThenRead;
  bool succeeded = writes || reads;
  if (succeeded && writes) {
    succeeded = Send<false>(slave, transaction->writeBuffer, transaction->writeLength);
  }
  if (succeeded && reads) {
    succeeded = Send<true>(slave, transaction->readBuffer, transaction->readLength);
  }
  transaction->success = succeeded;
}

template <bool IsRead, typename Byte>
bool ChipBus::Send(unsigned short slave, Byte* buffer, unsigned int length) {
  if (locks == 0) Abort("a message outside of the bus's lock");
  if (length == 0) return false;
  onMessage();
  const std::span bytes(buffer, length);
  const auto answers = [slave](const EmulatedChip* chip) { return chip->AnswersAt(slave); };
  const auto chip = std::ranges::find_if(chips, answers);
  int moved = NoChip;
  if (chip != chips.end()) {
    if constexpr (IsRead) {
      moved = (*chip)->Read(slave, bytes, VirtualClock::now);
    } else {
      moved = (*chip)->Write(slave, bytes, VirtualClock::now);
    }
  }
  if (records) messages.push_back({slave, IsRead, {bytes.begin(), bytes.end()}, moved});
  lastMoved = moved;
  return moved == static_cast<int>(length);
}
