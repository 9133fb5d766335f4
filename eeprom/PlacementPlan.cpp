#include "eeprom/PlacementPlan.h"

#include <cstddef>

namespace {

using File = EEPromHandler::FilesInEEProm;

// One way to place the new image, and what came of it.
struct Attempt {
  std::optional<PlacementPlan> plan;
  bool imageInTheWay = false;  // a readable file that does not move lies where the file is
};

class Planner {
 public:
  Planner(FileAllocationTable const& currentTable, unsigned long sizeOfDevice, File newFile,
          unsigned long imageLength, FileLayout::IsReadable const& readablePredicate)
      : table(currentTable),
        deviceSize(sizeOfDevice),
        file(newFile),
        length(imageLength),
        isReadable(readablePredicate) {}

  std::optional<PlacementPlan> Plan() const {
    FileAllocationTableEntry const& entry = table[file];
    if (!table.HasPlace(file)) return Anew();
    Attempt attempt = entry.Size == length ? InPlace({}, false) : InPlace(FilesAfter(), true);
    if (!attempt.plan && entry.Size != length) attempt = InPlace(FilesAfterOrAbove(), true);
    const bool hasNoPlace = attempt.imageInTheWay || (!attempt.plan && table.IsTorn(file));
    return hasNoPlace ? Anew() : attempt.plan;
  }

 private:
  std::vector<File> FilesAfter() const {
    return ReadableFilesThat([this](File other) { return other > file; });
  }

  std::vector<File> FilesAfterOrAbove() const {
    return ReadableFilesThat(
        [this](File other) { return other > file || table[other].Address > table[file].Address; });
  }

  template <typename Condition>
  std::vector<File> ReadableFilesThat(Condition const& condition) const {
    std::vector<File> files;
    for (const File other : FileAllocationTable::Files) {
      if (other != file && condition(other) && isReadable(other)) files.push_back(other);
    }
    return files;
  }

  // At the file's own address, with the files of `moving` behind.
  Attempt InPlace(std::vector<File> moving, bool writesTable) const {
    FileLayout layout(table, deviceSize, isReadable);
    for (const File other : moving) layout.Lift(other);
    const unsigned short start = table[file].Address;
    if (layout.RunsIntoAnother(file, start, length)) return {.plan = std::nullopt, .imageInTheWay = true};
    if (!layout.Fits(start, length)) return {};
    layout.Place(file, start, length);
    if (!RestFits(layout, moving, writesTable)) return {};
    return {.plan = PlacementPlan{start, std::move(moving), writesTable, std::move(layout)}};
  }

  // Behind all others, of which none moves.
  std::optional<PlacementPlan> Anew() const {
    FileLayout layout(table, deviceSize, isReadable);
    layout.Lift(file);
    const auto start = layout.StartFor(file, length);
    if (!start) return std::nullopt;
    layout.Place(file, *start, length);
    if (!RestFits(layout, {}, true)) return std::nullopt;
    return PlacementPlan{*start, {}, true, std::move(layout)};
  }

  // Whether the moving files find room behind the new image, and the table may be written.
  bool RestFits(FileLayout layout, std::vector<File> const& moving, bool writesTable) const {
    for (const File other : moving) {
      const unsigned short size = table[other].Size;
      const auto start = layout.StartFor(other, size);
      if (!start) return false;
      layout.Place(other, *start, size);
    }
    return !writesTable || !layout.RunsIntoAnother(file, EEPromHelper::FileAllocationTableEntryOffset,
                                                   FileAllocationTable::EncodedSize);
  }

  FileAllocationTable const& table;
  unsigned long deviceSize;
  File file;
  unsigned long length;
  FileLayout::IsReadable const& isReadable;
};

}  // namespace

std::optional<PlacementPlan> PlanPlacement(FileAllocationTable const& table, unsigned long deviceSize,
                                           File file, unsigned long length,
                                           FileLayout::IsReadable const& isReadable) {
  return Planner(table, deviceSize, file, length, isReadable).Plan();
}
