#include "i2c/DeviceLock.h"

DeviceLock::DeviceLock(I2CDevice& lockedDevice) : device(lockedDevice) {
  device.Lock();
}

DeviceLock::~DeviceLock() {
  device.Unlock();
}
