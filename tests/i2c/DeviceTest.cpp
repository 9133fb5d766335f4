#include <gmock/gmock.h>

#include "i2c/DeviceLock.h"
#include "i2c/I2CBusHelper.h"

namespace {

using I2C::AddressMode;
using testing::Return;
using Bytes = unsigned char*;
using ConstBytes = unsigned char const*;

struct MockBus : I2CBus {
  MOCK_METHOD(void, SetBusSpeed, (unsigned), (override));
  MOCK_METHOD(unsigned, GetBusSpeed, (), (const, override));
  MOCK_METHOD(int, Read, (Bytes, unsigned, unsigned short, AddressMode), (override));
  MOCK_METHOD(int, Write, (ConstBytes, unsigned, unsigned short, AddressMode), (override));
  MOCK_METHOD(int, WriteThenRead, (ConstBytes, unsigned, Bytes, unsigned, unsigned short, AddressMode),
              (override));
  MOCK_METHOD(int, WriteDelayRead,
              (ConstBytes, unsigned, Bytes, unsigned, unsigned short, AddressMode, unsigned), (override));
  MOCK_METHOD(bool, Transact, (I2C::Transaction*), (override));
  MOCK_METHOD(bool, Lock, (), (override));
  MOCK_METHOD(bool, Unlock, (), (override));
};

TEST(BusTable, KnowsTheSevenControllers) {
  for (int bus = 0; bus < 7; ++bus) {
    EXPECT_EQ(I2C::GetBusAddress(I2C::Bus{bus}), 0x40120000 + 0x10000UL * static_cast<unsigned>(bus));
  }
  EXPECT_EQ(I2C::GetBusAddress(I2C::Bus{7}), std::nullopt);
}

TEST(I2CDevice, ForwardsTheLow32BitsOfACountAndTheResult) {
  constexpr long Count = (1L << 32) + 5;
  const auto bus = std::make_shared<MockBus>();
  I2CDevice device(bus, 0x56);
  I2CDevice wide = I2CDevice(bus, 0x56, AddressMode::TenBit).Sibling(0x3FF);
  unsigned char in[1];
  unsigned char const out[1] = {};
  EXPECT_CALL(*bus, Read(in, 5, 0x56, AddressMode::SevenBit)).WillOnce(Return(5)).WillOnce(Return(-1));
  EXPECT_CALL(*bus, Write(out, 5, 0x56, AddressMode::SevenBit)).WillOnce(Return(0));
  EXPECT_CALL(*bus, WriteThenRead(out, 5, in, 6, 0x56, AddressMode::SevenBit)).WillOnce(Return(6));
  EXPECT_CALL(*bus, WriteDelayRead(out, 5, in, 6, 0x3FF, AddressMode::TenBit, 7)).WillOnce(Return(6));
  EXPECT_CALL(*bus, Lock).WillOnce(Return(true)).WillOnce(Return(false));
  EXPECT_CALL(*bus, Unlock).WillOnce(Return(false)).WillOnce(Return(true));
  EXPECT_EQ(device.Read(in, Count), 5);
  EXPECT_EQ(device.Read(in, Count), -1);
  EXPECT_EQ(device.Write(out, Count), 0);
  EXPECT_EQ(device.WriteThenRead(out, Count, in, Count + 1), 6);
  EXPECT_EQ(wide.WriteDelayRead(out, Count, in, Count + 1, 7), 6);
  EXPECT_TRUE(device.Lock());
  EXPECT_FALSE(device.Unlock());
  const DeviceLock lock(device);
}

TEST(I2CDevice, IsAStreamThatStaysConnectedAndSharesItsBus) {
  const auto bus = std::make_shared<testing::StrictMock<MockBus>>();
  {
    I2CDevice device(bus, 0x56);
    EXPECT_EQ(bus.use_count(), 2);
    EXPECT_EQ(device.GetID() + 1, Stream::nextID);
    EXPECT_EQ(device.GetAddress(), 0x56);
    unsigned char byte = 9;
    EXPECT_EQ(device.Read(&byte, 1, std::chrono::microseconds(1)), -2);
    device.Open();
    device.Close();
    EXPECT_TRUE(device.Connected());
  }
  EXPECT_EQ(bus.use_count(), 1);
}

}  // namespace
