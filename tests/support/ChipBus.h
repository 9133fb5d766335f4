// The I2C bus of the tests: emulated chips on the product's bus class. Transact bypasses the queue, and the
// worker sleeps: the caller's thread performs each transfer. The chips must outlive the bus.
#pragma once

#include <algorithm>
#include <functional>
#include <initializer_list>
#include <span>
#include <vector>

#include "i2c/TransactionalizedI2CBus.h"
#include "support/EmulatedChip.h"

class ChipBus final : public TransactionalizedI2CBus {
 public:
  // One write or read as it went over the wire; an attempt at a WriteThenRead makes two of them.
  struct Message {
    unsigned short slave;
    bool isRead;
    std::vector<unsigned char> bytes;  // that were asked to move; of a read, what it left in the buffer
    int moved;                         // of them, or the negative refusal

    // Of a write to a CAT24C256.
    [[nodiscard]] bool CarriesData() const { return !isRead && bytes.size() > 2; }
    [[nodiscard]] unsigned int MemoryAddress() const { return 256U * bytes[0] + bytes[1]; }
  };

  // Makes up to `maxAttempts` attempts at a transfer.
  ChipBus(std::initializer_list<EmulatedChip*> attachedChips, unsigned int maxAttempts)
      : chips(attachedChips), attempts(maxAttempts) {}

  void SetBusSpeed(unsigned int /*speed*/) override {}
  [[nodiscard]] unsigned int GetBusSpeed() const override { return 0; }
  bool Transact(I2C::Transaction* transaction) override;
  int Read(unsigned char* buffer, unsigned int length, unsigned short slave, I2C::AddressMode mode) override;
  int Write(const unsigned char* data, unsigned int length, unsigned short slave,
            I2C::AddressMode mode) override;
  int WriteThenRead(const unsigned char* data, unsigned int writeLength, unsigned char* buffer,
                    unsigned int readLength, unsigned short slave, I2C::AddressMode mode) override;

  // A message outside of a pair of these ends the program.
  bool Lock() override;
  bool Unlock() override;
  [[nodiscard]] bool IsLocked() const { return locks != 0; }

  bool records = false;        // whether messages are kept
  bool answersInPart = false;  // whether transfers return what the chip moved of their last message
  std::vector<Message> messages;
  std::function<void()> onMessage = [] {};  // called before each message; may throw

 protected:
  // An empty or short message fails, as on the Linux bus. WriteDelayRead and the memory kinds always fail.
  void HandleTransaction(I2C::Transaction* transaction) override;

 private:
  [[nodiscard]] int Answer(int whole) const { return answersInPart ? std::max(lastMoved, 0) : whole; }
  template <bool IsRead, typename Byte>
  bool Send(unsigned short slave, Byte* buffer, unsigned int length);

  std::vector<EmulatedChip*> chips;
  unsigned int attempts;
  unsigned int locks = 0;
  int lastMoved = 0;  // bytes of the last message, or the negative refusal
};
