// CAT24C256: 32 KiB in pages of 64 bytes, two address bytes on the wire, high byte first, at most 5 ms a
// write cycle (data sheet, t_WR).
//
// A write message stays inside one page and is sent at most twice. A read goes in transfers of at most 16
// bytes, the first one addressed, the others carried on by the chip's own address counter, so nobody else may
// use the chip in between. The driver refuses no address: the low 16 bits are sent, of which the chip looks
// at 15.
#pragma once

#include "eeprom/Eeprom.h"
#include "platform/ByteBuffer.h"

class Cat24c256Eeprom : public Eeprom {
 public:
  explicit Cat24c256Eeprom(std::shared_ptr<I2CDevice> sharedDevice);

  int Read(unsigned short address, unsigned char* buffer, int length) override;
  int Write(unsigned short address, unsigned char const* data, int length) override;
  bool Erase(unsigned short address, unsigned short length) override;
  bool EraseAll() override;
  [[nodiscard]] unsigned long GetSizeInBytes() const override;

 private:
  long ReadTransfer(unsigned int address, bool continued, unsigned char* destination, int size);
  unsigned int SendPiece(ByteBuffer const& message);
};
