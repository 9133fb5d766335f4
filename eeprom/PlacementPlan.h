// Decides, before a byte is written, where a file's new image goes and which other files move.
//
// A file without a place goes behind the others. One whose image keeps its size is written in place. One that
// changes its size keeps its address, and the readable files numbered after it move behind it in the order of
// their numbers, each to a multiple of 64. Only where that does not fit, or would run into a readable file,
// the readable files with a lower number that lie above it move too; and where even then a readable file is
// in the way, or the entry is torn and does not fit, the new image goes behind the others as if the
// file had no place.
//
// No plan overwrites an image that stays, nor, in writing the table, one that a foreign table laid over it.
// There is none when an image would exceed 0xFFFE bytes, start below 0x0040 or end beyond the device.
#pragma once

#include <optional>
#include <vector>

#include "eeprom/FileLayout.h"

struct PlacementPlan {
  unsigned short start;                              // where the new image goes
  std::vector<EEPromHandler::FilesInEEProm> moving;  // whose images move, in the order of writing
  bool writesTable;
  FileLayout layout;  // with the new image placed and the moving files lifted
};

// For an image of `length` bytes as `file`. `isReadable` is asked about other files only.
[[nodiscard]] std::optional<PlacementPlan> PlanPlacement(FileAllocationTable const& table,
                                                         unsigned long deviceSize,
                                                         EEPromHandler::FilesInEEProm file,
                                                         unsigned long length,
                                                         FileLayout::IsReadable const& isReadable);
