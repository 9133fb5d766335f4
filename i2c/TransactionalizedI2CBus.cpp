#include "i2c/TransactionalizedI2CBus.h"

#include "platform/EventFactory.h"
#include "platform/ThreadFactory.h"

namespace {

// Flags of the control event.
constexpr unsigned int StopRequestedFlag = 1;
constexpr unsigned int TransactionQueuedFlag = 2;
constexpr unsigned int WorkerStoppedFlag = 4;

// Flag of a caller's completion event.
constexpr unsigned int TransactionDoneFlag = 1;

constexpr int WorkerPriority = 58;
constexpr char WorkerName[] = "I2CXactHandler";

// An event that could not be made fails this, and would end a wait at once.
bool IsUsable(Event& event) {
  return event.ResetFlags(0) == 0;
}

unsigned char NextSlot(unsigned char slot) {
  return slot + 1 == TransactionalizedI2CBus::QueueCapacity ? 0 : static_cast<unsigned char>(slot + 1);
}

}  // namespace

TransactionalizedI2CBus::TransactionalizedI2CBus()
    : controlEvent(EventFactory::GetUniqueEvent(true)),
      worker(ThreadFactory::GetUniqueThread(ThreadBootstrapFunction, WorkerPriority, 0)),
      queue(),
      readIndex(0),
      writeIndex(0) {
  if (IsUsable(*controlEvent)) worker->StartThread(this, WorkerName);
}

TransactionalizedI2CBus::~TransactionalizedI2CBus() {
  if (!worker->IsRunning()) return;
  controlEvent->Signal(StopRequestedFlag);
  controlEvent->WaitAnd(WorkerStoppedFlag);
}

int TransactionalizedI2CBus::Read(unsigned char* buffer, unsigned int length, unsigned short address,
                                  I2C::AddressMode mode) {
  return Transfer({.type = I2C::TransactionType::Read,
                   .address = address,
                   .addressMode = mode,
                   .readLength = length,
                   .readBuffer = buffer},
                  length);
}

int TransactionalizedI2CBus::Write(const unsigned char* buffer, unsigned int length, unsigned short address,
                                   I2C::AddressMode mode) {
  return Transfer({.type = I2C::TransactionType::Write,
                   .address = address,
                   .addressMode = mode,
                   .writeLength = length,
                   .writeBuffer = buffer},
                  length);
}

int TransactionalizedI2CBus::WriteThenRead(const unsigned char* writeBuffer, unsigned int writeLength,
                                           unsigned char* readBuffer, unsigned int readLength,
                                           unsigned short address, I2C::AddressMode mode) {
  return Transfer({.type = I2C::TransactionType::WriteThenRead,
                   .address = address,
                   .addressMode = mode,
                   .readLength = readLength,
                   .readBuffer = readBuffer,
                   .writeLength = writeLength,
                   .writeBuffer = writeBuffer},
                  readLength);
}

int TransactionalizedI2CBus::WriteDelayRead(const unsigned char* writeBuffer, unsigned int writeLength,
                                            unsigned char* readBuffer, unsigned int readLength,
                                            unsigned short address, I2C::AddressMode mode,
                                            unsigned int delayMs) {
  return Transfer({.type = I2C::TransactionType::WriteDelayRead,
                   .address = address,
                   .addressMode = mode,
                   .readLength = readLength,
                   .readBuffer = readBuffer,
                   .writeLength = writeLength,
                   .writeBuffer = writeBuffer,
                   .delayMs = delayMs},
                  readLength);
}

// The record lives on this stack, so this does not return before the worker is done with it.
int TransactionalizedI2CBus::Transfer(I2C::Transaction transaction, unsigned int count) {
  const std::unique_ptr<Event> done = EventFactory::GetUniqueEvent(true);
  if (!IsUsable(*done)) return 0;
  transaction.event = done.get();
  transaction.eventFlags = TransactionDoneFlag;
  if (!Transact(&transaction)) return 0;
  done->WaitOr(TransactionDoneFlag);
  return transaction.success ? static_cast<int>(count) : 0;
}

bool TransactionalizedI2CBus::Transact(I2C::Transaction* transaction) {
  if (transaction == nullptr || !worker->IsRunning()) return false;
  {
    const std::lock_guard lock(queueMutex);
    if (queue[writeIndex] != nullptr) return false;
    queue[writeIndex] = transaction;
    writeIndex = NextSlot(writeIndex);
  }
  controlEvent->Signal(TransactionQueuedFlag);
  return true;
}

bool TransactionalizedI2CBus::Lock() {
  return false;
}

bool TransactionalizedI2CBus::Unlock() {
  return false;
}

I2C::Transaction* TransactionalizedI2CBus::PopTransaction() {
  const std::lock_guard lock(queueMutex);
  I2C::Transaction* const transaction = queue[readIndex];
  if (transaction == nullptr) return nullptr;
  queue[readIndex] = nullptr;
  readIndex = NextSlot(readIndex);
  return transaction;
}

void TransactionalizedI2CBus::ThreadFunction() {
  while ((controlEvent->WaitOr(StopRequestedFlag | TransactionQueuedFlag) & StopRequestedFlag) == 0) {
    while (I2C::Transaction* const transaction = PopTransaction()) Perform(transaction);
  }
  controlEvent->Signal(WorkerStoppedFlag);
}

void* TransactionalizedI2CBus::ThreadBootstrapFunction(void* argument) {
  static_cast<TransactionalizedI2CBus*>(argument)->ThreadFunction();
  return nullptr;
}

// Once its event is signalled the record may be gone.
void TransactionalizedI2CBus::Perform(I2C::Transaction* transaction) {
  transaction->success = false;
  for (unsigned char attempt = 0; attempt < MaxAttempts && !transaction->success; ++attempt) {
    HandleTransaction(transaction);
  }
  if (transaction->event != nullptr) transaction->event->Signal(transaction->eventFlags);
}
