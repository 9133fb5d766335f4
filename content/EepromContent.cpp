#include "content/EepromContent.h"

#include <algorithm>
#include <bitset>
#include <memory>
#include <utility>

#include "content/CachedEeprom.h"
#include "content/Hexadecimal.h"
#include "content/MemoryEeprom.h"
#include "eeprom/PlacementPlan.h"
#include "eeprom/PosixEEpromHandler.h"
#include "eeprom/StoredFiles.h"
#include "eeprom/StoredImage.h"

namespace {

using Bytes = std::vector<unsigned char>;
using Entry = FileAllocationTable::Entry;

constexpr unsigned short TableAddress = EEPromHelper::FileAllocationTableEntryOffset;

// Collects what there is to tell about an EEPROM. The store works on a copy: it enters a file that it
// recognises in the reserved place into the table.
class Examination final {
 public:
  explicit Examination(std::unique_ptr<CachedEeprom> copy)
      : memory(*copy), store(std::move(copy)), started(store.Table()) {
    store.ReadFileAllocationTable();  // without a reservation that is only in the store's own copy
  }

  EepromContent Run() {
    ExamineSettings();
    StoredFiles files(memory, started);
    for (std::size_t file = 0; file < content.files.size(); ++file) {
      ExamineFile(file);
      if (HasImage(file)) ExaminePlace(file);
      content.files[file].room = LargestData(FileAllocationTable::Files.at(file), files);
    }
    content.freeBytes = CountFreeBytes();
    return std::move(content);
  }

 private:
  void Add(const char* id, std::vector<std::size_t> files, const std::string& text) {
    content.findings.push_back({id, text, std::move(files)});
  }

  void ExamineSettings() {
    const unsigned short revision = store.WordGet(EEPromHelper::BoardTypeSetAddress);
    if (revision != EEPromHelper::FreshEEPromValue) content.revision = revision;
    const unsigned char flag = store.ByteGet(EEPromHelper::DeveloperByteSetAddress);
    content.developerByte = flag;
    if (flag == EEPromHelper::DeveloperBoardEnabled || flag == EEPromHelper::DeveloperBoardDisabled ||
        flag == Eeprom::ErasedByte) {
      return;
    }
    Add("developer-flag", {}, "no command writes a developer-board flag of " + Hex(flag, 2));
  }

  void ExamineFile(std::size_t index) {
    const auto type = FileAllocationTable::Files.at(index);
    const StoredImage image = StoredFiles::Read(memory, started, type).value_or(StoredImage());
    const Entry entry = image.IsIntact() ? started[type] : store.Table()[type];
    const bool isEntryWhole = store.Table().DescribesFile(type) && !store.Table().IsTorn(type);
    if (!image.IsIntact() && !isEntryWhole) {
      if (entry == FileAllocationTable::Erased) return;
      return Add("torn-entry", {index},
                 "the table entry of " + FileTitle(index) + " is torn: address " + Hex(entry.Address) +
                     ", size " + Hex(entry.Size));
    }
    FileContent& file = content.files[index];
    file.address = entry.Address;
    file.size = entry.Size;
    if (!image.IsIntact() && index == 0 && entry == FileAllocationTable::Reservation) {
      file.state = FileState::Reserved;
    } else {
      ExamineImage(index, image);
    }
  }

  void ExamineImage(std::size_t index, const StoredImage& image) {
    FileContent& file = content.files[index];
    file.checksum = image.StoredChecksum();
    file.computedChecksum = image.ComputedChecksum();
    file.data.assign(image.Data().begin(), image.Data().end());
    if (image.IsIntact()) {
      file.state = FileState::Stored;
    } else if (*file.size == StoredImage::ChecksumSize) {
      file.state = FileState::Empty;
    } else {
      file.state = FileState::Damaged;
      Add("damaged", {index},
          FileTitle(index) + " is damaged: stored checksum " + Hex(*file.checksum) + ", computed " +
              Hex(*file.computedChecksum));
    }
  }

  void ExaminePlace(std::size_t index) {
    const FileContent& file = content.files[index];
    const auto add = [&](const char* id, const std::string& where) {
      Add(id, {index},
          "the image of " + FileTitle(index) + ", " + std::to_string(*file.size) + " bytes at " +
              Hex(*file.address) + ", " + where);
    };
    if (0UL + *file.address + *file.size > EepromSize) add("beyond-end", "reaches beyond the end");
    if (*file.address < EEPromHelper::FilesInEEPromStartOffset) add("below-files", "begins below 0x0040");
    if (Overlap(*file.address, *file.size, TableAddress, FileAllocationTable::EncodedSize, EepromSize)) {
      add("over-table", "lies over the table");
    }
    for (std::size_t other = 0; other < index; ++other) {
      if (!HasImage(other) || !Overlap(*file.address, *file.size, *content.files[other].address,
                                       *content.files[other].size, EepromSize)) {
        continue;
      }
      Add("overlap", {other, index},
          "the images of " + FileTitle(other) + " and " + FileTitle(index) + " overlap");
    }
  }

  // Asks the planner itself. What fits, fits shorter too, but for an image that keeps its size: nothing moves
  // then.
  [[nodiscard]] std::optional<unsigned long> LargestData(FileAllocationTable::File file,
                                                         StoredFiles& files) const {
    const auto fits = [&](unsigned long data) {
      const unsigned long image = data + StoredImage::ChecksumSize;
      return PlacementPlan::Make(started, file, image, EepromSize, files).has_value();
    };
    std::optional<unsigned long> largest;
    unsigned long low = 0;
    unsigned long high = EepromSize;
    while (low < high) {
      const unsigned long middle = (low + high) / 2;
      if (fits(middle)) {
        largest = middle;
        low = middle + 1;
      } else {
        high = middle;
      }
    }
    const unsigned long size = started[file].Size;
    if (size < StoredImage::ChecksumSize || !fits(size - StoredImage::ChecksumSize)) return largest;
    return std::max(largest.value_or(0), size - StoredImage::ChecksumSize);
  }

  [[nodiscard]] bool HasImage(std::size_t file) const {
    const FileState state = content.files[file].state;
    return state != FileState::Absent && state != FileState::Reserved;
  }

  [[nodiscard]] unsigned long CountFreeBytes() const {
    std::bitset<EepromSize> used;
    for (std::size_t file = 0; file < content.files.size(); ++file) {
      if (!HasImage(file)) continue;
      for (unsigned int i = 0; i < *content.files[file].size; ++i) {
        used.set((*content.files[file].address + i) % used.size());
      }
    }
    return (~used >> EEPromHelper::FilesInEEPromStartOffset).count();
  }

  CachedEeprom& memory;
  PosixEEpromHandler store;
  FileAllocationTable started;  // as Brindle's start leaves it, with a reservation if it makes one
  EepromContent content;
};

}  // namespace

EepromContent Examine(Eeprom& eeprom) {
  return Examination(std::make_unique<CachedEeprom>(eeprom)).Run();
}

EepromContent Examine(const std::vector<unsigned char>& image) {
  if (image.size() == EepromSize) {
    Bytes bytes = image;
    MemoryEeprom memory(bytes);
    return Examine(memory);
  }
  const std::string size = image.size() > EepromSize ? "more than 32768" : std::to_string(image.size());
  EepromContent content;
  content.findings.push_back({"wrong-size", "the image has " + size + " bytes instead of 32768", {}});
  return content;
}

const char* FileName(std::size_t file) {
  constexpr std::array Names = {"peripheral", "upgrade", "board"};
  return Names.at(file);
}

std::string FileTitle(std::size_t file) {
  return "file " + std::to_string(file + 1) + " (" + FileName(file) + ")";
}

const char* StateName(FileState state) {
  constexpr std::array Names = {"stored", "empty", "damaged", "reserved", "absent"};
  return Names.at(static_cast<std::size_t>(state));
}
