// The EEPROM in pages of 64 bytes, the unit in which the chip stores.
//
// Addresses and lengths are in bytes. All functions are pure; any thread.
#pragma once

#include <bitset>
#include <cstddef>
#include <span>
#include <vector>

#include "eeprom/Cat24c256Eeprom.h"

inline constexpr std::size_t EepromSize = Cat24c256Eeprom::Size;
inline constexpr std::size_t PageSize = Cat24c256Eeprom::PageSize;
inline constexpr std::size_t PageCount = EepromSize / PageSize;

using PageSet = std::bitset<PageCount>;

// A run of consecutive pages.
struct PageRun {
  std::size_t first;
  std::size_t count;
};

// Returns the pages that hold these bytes. Addresses wrap at the end of the memory, as they do in the chip.
[[nodiscard]] PageSet PagesOf(std::size_t address, std::size_t length);

// Returns the pages in which two contents, both of the EEPROM's size, differ.
[[nodiscard]] PageSet DifferingPages(std::span<const unsigned char> left,
                                     std::span<const unsigned char> right);

// Returns whether all these bytes are the same, as they are when a lost address leads into blank pages, or
// when no chip drives the bus.
[[nodiscard]] bool IsUniform(std::span<const unsigned char> bytes);

// Copies these pages between two contents of the EEPROM's size.
void CopyPages(const PageSet& pages, std::span<const unsigned char> from, std::span<unsigned char> to);

// Returns the pages as runs, in increasing order.
[[nodiscard]] std::vector<PageRun> RunsOf(const PageSet& pages);
