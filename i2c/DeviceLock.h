// Keeps a device locked for one scope.
#pragma once

#include "i2c/I2CDevice.h"

class DeviceLock final {
 public:
  // Borrows `lockedDevice`, which must outlive the lock.
  explicit DeviceLock(I2CDevice& lockedDevice);
  ~DeviceLock();
  DeviceLock(const DeviceLock&) = delete;
  DeviceLock& operator=(const DeviceLock&) = delete;

 private:
  I2CDevice& device;
};
