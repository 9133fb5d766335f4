// Makes one bus safe to share. Callers on any thread queue a transaction and sleep. One worker thread takes
// the transactions out in order, lets the concrete bus try each one up to MaxAttempts times until it
// succeeds, and signals the caller. The concrete bus needs no lock.
//
// At most QueueCapacity transactions wait. One more is refused, and its transfer returns 0 at once. Lock and
// Unlock reserve nothing and return false: transfers of other callers may come between those of a sequence.
//
// Every transfer is refused at once when the worker could not be started, and a caller's transfer when its
// event could not be made. Destroy a bus only when no caller waits on it; it does not perform what is still
// queued then.
#pragma once

#include <array>
#include <memory>
#include <mutex>

#include "i2c/I2CBus.h"
#include "platform/Event.h"
#include "platform/Thread.h"

class TransactionalizedI2CBus : public I2CBus {
 public:
  static constexpr unsigned char QueueCapacity = 10;
  static constexpr unsigned char MaxAttempts = 3;

  TransactionalizedI2CBus();
  ~TransactionalizedI2CBus() override;

  int Read(unsigned char* buffer, unsigned int length, unsigned short address,
           I2C::AddressMode mode) override;
  int Write(const unsigned char* buffer, unsigned int length, unsigned short address,
            I2C::AddressMode mode) override;
  int WriteThenRead(const unsigned char* writeBuffer, unsigned int writeLength, unsigned char* readBuffer,
                    unsigned int readLength, unsigned short address, I2C::AddressMode mode) override;
  int WriteDelayRead(const unsigned char* writeBuffer, unsigned int writeLength, unsigned char* readBuffer,
                     unsigned int readLength, unsigned short address, I2C::AddressMode mode,
                     unsigned int delayMs) override;
  // Refuses a null pointer.
  bool Transact(I2C::Transaction* transaction) override;
  bool Lock() override;
  bool Unlock() override;

 protected:
  // Makes one attempt at `transaction`, finishes it before it returns, and sets its `success`. Worker thread
  // only.
  virtual void HandleTransaction(I2C::Transaction* transaction) = 0;

  // Takes the oldest queued transaction out of the ring and returns it, or null.
  [[nodiscard]] I2C::Transaction* PopTransaction();

  // The worker's loop, and its entry, whose `argument` is the bus.
  void ThreadFunction();
  static void* ThreadBootstrapFunction(void* argument);

 private:
  // Queues a transfer, waits for it, and returns `count` when it succeeded, else 0.
  int Transfer(I2C::Transaction transaction, unsigned int count);
  void Perform(I2C::Transaction* transaction);

  std::unique_ptr<Event> controlEvent;
  std::unique_ptr<Thread> worker;
  std::array<I2C::Transaction*, QueueCapacity> queue;  // borrowed; null is a free slot
  std::mutex queueMutex;     // guards queue, readIndex, writeIndex; never held during a transfer or a signal
  unsigned char readIndex;   // the slot taken next
  unsigned char writeIndex;  // the slot filled next
};
