#include "support/SlotOrder.h"

#include "eeprom/EEPromHandler.h"
#include "eeprom/Eeprom.h"
#include "i2c/I2CDevice.h"
#include "i2c/TransactionalizedI2CBus.h"
#include "platform/Event.h"
#include "platform/Thread.h"

namespace {

using Micro = std::chrono::duration<std::int64_t, std::micro>;
using Bytes = unsigned char*;
using ConstBytes = unsigned char const*;

// Opens what only a derived bus can name.
struct OpenBus : TransactionalizedI2CBus {
  using TransactionalizedI2CBus::HandleTransaction;
};

TEST(SlotOrder, IsFixedForEveryInterface) {
  ExpectSlots("Event", 2, Overload<unsigned(unsigned)>(&Event::WaitOr),
              Overload<unsigned(unsigned, unsigned)>(&Event::WaitOr),
              Overload<unsigned(unsigned, Micro)>(&Event::WaitOr),
              Overload<unsigned(Event::Predicate)>(&Event::Wait),
              Overload<bool(Event::Predicate, unsigned)>(&Event::Wait),
              Overload<bool(unsigned)>(&Event::WaitAnd), Overload<bool(unsigned, unsigned)>(&Event::WaitAnd),
              &Event::Signal, &Event::ResetFlags, &Event::IsSignalled);
  ExpectSlots("Thread", 2, &Thread::StartThread, &Thread::GetStopRequestFlag, &Thread::GetThreadEvent,
              &Thread::SetPriority, &Thread::SetStopRequestFlag, &Thread::IsRunning, &Thread::RequestStop);
  ExpectSlots("Stream", 2, Overload<long(Bytes, long)>(&Stream::Read),
              Overload<long(Bytes, long, Micro)>(&Stream::Read),
              Overload<long(ConstBytes, long)>(&Stream::Write), Overload<long(Stream&, long)>(&Stream::Write),
              Overload<long(std::vector<unsigned char> const&)>(&Stream::Write), &Stream::Close,
              &Stream::Open, &Stream::GetID, &Stream::GetType, &Stream::GetStatus,
              &Stream::GetConnectivitySource, &Stream::GetStreamDataType, &Stream::SetStreamDataType,
              &Stream::Connected);
  ExpectSlots("I2CDevice", 16, &I2CDevice::WriteThenRead, &I2CDevice::WriteDelayRead);
  ExpectSlots("I2CBus", 2, &I2CBus::SetBusSpeed, &I2CBus::GetBusSpeed, &I2CBus::Read, &I2CBus::Write,
              &I2CBus::WriteThenRead, &I2CBus::WriteDelayRead, &I2CBus::Transact, &I2CBus::Lock,
              &I2CBus::Unlock);
  ExpectSlots("TransactionalizedI2CBus", 11, &OpenBus::HandleTransaction);
  ExpectSlots("Eeprom", 2, &Eeprom::Read, &Eeprom::Write, &Eeprom::Erase, &Eeprom::EraseAll,
              &Eeprom::GetSizeInBytes);
  using Handler = EEPromHandler;
  using Text = std::string const&;
  ExpectSlots("EEPromHandler", 2, &Handler::IsEEPromAccessible, &Handler::Write, &Handler::WriteAll,
              &Handler::Read, &Handler::ReadAll, &Handler::Erase, &Handler::Verify, &Handler::VerifyAll,
              &Handler::ByteGet, Overload<bool(unsigned short, unsigned char)>(&Handler::ByteSet),
              Overload<bool(unsigned short, Text, unsigned char)>(&Handler::ByteSet), &Handler::WordGet,
              Overload<bool(unsigned short, unsigned short)>(&Handler::WordSet),
              Overload<bool(unsigned short, Text, unsigned char)>(&Handler::WordSet),
              &Handler::DeveloperBoardSet, &Handler::ReadBoardInformation);
}

}  // namespace
