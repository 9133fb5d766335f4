// Makes one bus safe to share. Callers on any thread queue a transaction and sleep; one worker thread takes
// them out first in, first out, has the concrete bus perform each one, up to MaxAttempts times until it
// succeeds, and signals the caller. The concrete bus needs no lock of its own.
//
// At most QueueCapacity transactions wait; one more is refused, and its transfer returns 0 at once. Lock and
// Unlock reserve nothing and answer false: a sequence of one device may interleave with other callers'
// transfers.
//
// A bus whose worker could not be started, or a caller whose event could not be made, gets every transfer
// refused at once. A bus is destroyed when no caller waits on it; what is still queued then is not served.
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
  int Write(unsigned char const* buffer, unsigned int length, unsigned short address,
            I2C::AddressMode mode) override;
  int WriteThenRead(unsigned char const* writeBuffer, unsigned int writeLength, unsigned char* readBuffer,
                    unsigned int readLength, unsigned short address, I2C::AddressMode mode) override;
  int WriteDelayRead(unsigned char const* writeBuffer, unsigned int writeLength, unsigned char* readBuffer,
                     unsigned int readLength, unsigned short address, I2C::AddressMode mode,
                     unsigned int delayMs) override;
  // Refuses a null pointer.
  bool Transact(I2C::Transaction* transaction) override;
  bool Lock() override;
  bool Unlock() override;

 protected:
  // One attempt at `transaction`, finished on return; sets its `success`. Worker thread only.
  virtual void HandleTransaction(I2C::Transaction* transaction) = 0;

  // The oldest queued transaction, now out of the ring, or null.
  I2C::Transaction* PopTransaction();

  // The worker's loop, and the entry that finds it: `argument` is the bus.
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
