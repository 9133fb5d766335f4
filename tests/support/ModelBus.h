// I2C buses of the tests, with modelled chips on them.
//
// A ModelWire is what the chips hang on; the test owns it and may look at it and at the chips whenever no
// transfer runs. A ModelBus performs transfers on it directly, on the caller's thread; a QueuedModelBus does
// so behind the product's own queue and worker. Both may stand on one wire one after the other, as two runs
// of a program on one board.
//
//   EmulatedChip chip;
//   ModelWire wire({&chip});
//   PosixEEpromHandler store(location, std::make_shared<ModelBus>(wire));
#pragma once

#include <cstdint>
#include <functional>
#include <initializer_list>
#include <vector>

#include "chip/EmulatedChip.h"
#include "i2c/I2CBus.h"
#include "i2c/TransactionalizedI2CBus.h"
#include "support/VirtualClock.h"

class ModelWire final {
 public:
  using Clock = std::function<std::uint64_t()>;

  // One write or read as it went over the wire; an attempt at a WriteThenRead makes two of them.
  struct Message {
    unsigned short slave;
    bool isRead;
    std::vector<unsigned char> bytes;  // that were asked to move; of a read, what it left in the buffer
    int moved;                         // of them, or the negative refusal
    std::uint64_t time;                // ns
  };

  // The chips, which must outlive the wire, and the time in nanoseconds at which a message reaches them. A
  // message itself takes no time.
  explicit ModelWire(std::initializer_list<EmulatedChip*> attached, Clock timeSource = VirtualClock::Now);

  // One attempt at a transaction, as the Linux bus makes it: a write and a read are messages of their own, an
  // empty or short one fails. A slave address without a chip is refused. WriteDelayRead and the memory kinds
  // fail and send nothing. Returns the success.
  bool Perform(I2C::Transaction const& transaction);

  // From now on keeps every message in Messages(), or no more.
  void Record(bool keeps = true) { isRecording = keeps; }
  [[nodiscard]] std::vector<Message>& Messages() { return messages; }

 private:
  bool Send(I2C::Transaction const& transaction);
  bool Fetch(I2C::Transaction const& transaction);
  [[nodiscard]] EmulatedChip* ChipAt(unsigned short slave) const;
  void Keep(unsigned short slave, bool isRead, std::span<unsigned char const> bytes, int moved);

  std::vector<EmulatedChip*> chips;
  Clock clock;
  bool isRecording = false;
  std::vector<Message> messages;
};

class ModelBus final : public I2CBus {
 public:
  // Makes up to `maxAttempts` attempts at a transfer: 3 as the queueing bus does, 1 for a bus that does not
  // try again.
  explicit ModelBus(ModelWire& modelWire, unsigned int maxAttempts = TransactionalizedI2CBus::MaxAttempts)
      : wire(modelWire), attempts(maxAttempts) {}

  void SetBusSpeed(unsigned int /*speed*/) override {}
  [[nodiscard]] unsigned int GetBusSpeed() const override { return 0; }
  int Read(unsigned char* buffer, unsigned int length, unsigned short address,
           I2C::AddressMode mode) override;
  int Write(unsigned char const* buffer, unsigned int length, unsigned short address,
            I2C::AddressMode mode) override;
  int WriteThenRead(unsigned char const* writeBuffer, unsigned int writeLength, unsigned char* readBuffer,
                    unsigned int readLength, unsigned short address, I2C::AddressMode mode) override;
  int WriteDelayRead(unsigned char const* writeBuffer, unsigned int writeLength, unsigned char* readBuffer,
                     unsigned int readLength, unsigned short address, I2C::AddressMode mode,
                     unsigned int delayMs) override;
  // Finished on return, its event signalled.
  bool Transact(I2C::Transaction* transaction) override;

  // Each counts its calls, so that a test sees whether the two came in pairs.
  bool Lock() override;
  bool Unlock() override;
  [[nodiscard]] unsigned int Locks() const { return locks; }
  [[nodiscard]] unsigned int Unlocks() const { return unlocks; }

 private:
  int Transfer(I2C::Transaction transaction, unsigned int count);

  ModelWire& wire;
  unsigned int attempts;
  unsigned int locks = 0;
  unsigned int unlocks = 0;
};

class QueuedModelBus final : public TransactionalizedI2CBus {
 public:
  explicit QueuedModelBus(ModelWire& modelWire) : wire(modelWire) {}

  void SetBusSpeed(unsigned int /*speed*/) override {}
  [[nodiscard]] unsigned int GetBusSpeed() const override { return 0; }

 protected:
  void HandleTransaction(I2C::Transaction* transaction) override {
    transaction->success = wire.Perform(*transaction);
  }

 private:
  ModelWire& wire;
};
