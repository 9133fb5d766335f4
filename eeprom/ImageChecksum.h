// The checksum of a stored file: CRC-16/MAXIM-DOW (polynomial 0x8005 reflected, initial value 0, final XOR
// 0xFFFF; 0x44C2 for the characters "123456789").
#pragma once

#include <span>

[[nodiscard]] unsigned short ImageChecksum(std::span<const unsigned char> data);
