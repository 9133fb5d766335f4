// What the drivers of I2C EEPROMs share: how messages address the chip, and both transfer loops.
#pragma once

#include "eeprom/Eeprom.h"

class I2CEeprom : public Eeprom {
 public:
  using Eeprom::Eeprom;

 protected:
  // What the messages to a chip look like.
  struct Protocol {
    unsigned int pageSize;       // no write message crosses the end of a page
    unsigned int addressSize;    // address bytes in a message, 1 or 2, the high byte first
    unsigned int slaveMask;      // slave address bits that hold the memory address bits above those
    int largestRead;             // bytes in one transfer, at most 16
    unsigned int writeAttempts;  // of one message
    // Into the caller's buffer, where a failed transfer may leave bytes beyond the count; else by way of a
    // transfer buffer.
    bool readsDirectly;
    // Which address follows a piece that was stored in part: the one after the piece, or the one after the
    // last byte stored.
    bool advancesByPiece;
  };

  // Reads in transfers: the first one is addressed, the chip's own address counter carries on the others, so
  // nobody else may use the chip in between. The first one may fall short once: it is repeated, or carried on
  // if it delivered bytes. Any later one that falls short ends the read.
  int ReadInTransfers(const Protocol& protocol, unsigned short address, unsigned char* buffer, int length);

  // Writes page by page and waits for the end of each write cycle: t_WR is 5 ms at most for both chips (data
  // sheets). Each piece takes the next bytes of `data`, also after one that was stored in part.
  int WriteInPages(const Protocol& protocol, unsigned short address, const unsigned char* data, int length);

  // Writes `length` bytes of ErasedByte with one Write of the driver. Returns whether any was written.
  bool WriteErased(unsigned short address, unsigned long length);

 private:
  [[nodiscard]] std::shared_ptr<I2CDevice> DeviceFor(const Protocol& protocol, unsigned int address) const;
};
