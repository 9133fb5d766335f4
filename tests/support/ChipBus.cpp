#include "support/ChipBus.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <tuple>

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
  const auto& [type, slave] = std::tie(transaction->type, transaction->address);
  const bool writes = type == Type::Write || type == Type::WriteThenRead;
  const bool reads = type == Type::Read || type == Type::WriteThenRead;
  transaction->success =
      (writes || reads) &&
      (!writes || Send<false>(slave, transaction->writeBuffer, transaction->writeLength)) &&
      (!reads || Send<true>(slave, transaction->readBuffer, transaction->readLength));
}

template <bool IsRead, typename Byte>
bool ChipBus::Send(unsigned short slave, Byte* buffer, unsigned int length) {
  if (locks == 0) Abort("a message outside of the bus's lock");
  if (length == 0) return false;
  onMessage();
  const std::span bytes(buffer, length);
  const auto chip =
      std::find_if(chips.begin(), chips.end(), [slave](const auto* each) { return each->AnswersAt(slave); });
  int moved = NoChip;
  if (chip != chips.end()) {
    if constexpr (IsRead) {
      moved = (*chip)->Read(slave, bytes, VirtualClock::now);
    } else {
      moved = (*chip)->Write(slave, bytes, VirtualClock::now);
    }
  }
  if (records) messages.push_back({slave, IsRead, {bytes.begin(), bytes.end()}, moved});
  return moved == static_cast<int>(length);
}
