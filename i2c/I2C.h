// The vocabulary of the I2C layer: controllers, address modes, the transaction record.
#pragma once

class Event;

namespace I2C {

// The I2C controllers of the STM32MP2.
enum class Bus : int { I2C1 = 0, I2C2 = 1, I2C3 = 2, I2C4 = 3, I2C5 = 4, I2C6 = 5, I2C7 = 6 };

// Width of a slave address.
enum class AddressMode : unsigned int { SevenBit = 0, TenBit = 1 };

enum class TransactionType : unsigned int {
  Read = 0,
  Write = 1,
  WriteThenRead = 2,   // two transfers, each with its own start and stop condition
  WriteDelayRead = 3,  // the same with a pause between them
  ReadMem = 4,         // no bus supports the memory kinds: they always fail
  WriteMem = 5,
};

// One request to a bus. A field that its kind does not use stays zero. Lengths are in bytes.
//
// The caller owns the record, the buffers and the event, and keeps them until the event has been signalled.
// The bus borrows them and does not touch them afterwards.
struct Transaction {
  TransactionType type = TransactionType::Read;
  unsigned short address = 0;
  AddressMode addressMode = AddressMode::SevenBit;
  unsigned int readLength = 0;
  unsigned char* readBuffer = nullptr;
  unsigned int writeLength = 0;
  const unsigned char* writeBuffer = nullptr;
  unsigned int delayMs = 0;     // WriteDelayRead: pause in milliseconds, below 0xFFFFFFFF
  Event* event = nullptr;       // signalled when the bus is done with the record; may be null
  unsigned int eventFlags = 0;  // the flags signalled on it
  bool success = false;         // set by the bus: whether every transfer moved exactly what was asked
};

}  // namespace I2C
