// The kernel's driver of serial EEPROMs, with the rules of drivers/misc/eeprom/at24.c and of sysfs.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

#include "board/I2CAdapter.h"
#include "chip/chip_model.h"

namespace At24 {

// Writes `sent` to the driver's file `eeprom` from `offset` on, or if it is empty reads to `received`: at
// most 4096 bytes. A read becomes transfers of at most 128 bytes, each of which sends the address first; a
// write becomes messages that stay within a page of `page` bytes. Each is repeated, about every millisecond
// for 25 ms, until it succeeds.
//
// Returns how many bytes were transferred or a negative error: -ETIMEDOUT if one of the transfers did not
// succeed in time (those before it did), -ENODEV if the driver is not bound, -EFBIG for a write beyond the
// end.
int Transfer(I2CAdapter& adapter, const chip_model& chip, std::size_t page, std::uint64_t offset,
             std::span<const unsigned char> sent, std::span<unsigned char> received);

}  // namespace At24
