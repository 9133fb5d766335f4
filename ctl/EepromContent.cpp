#include "ctl/EepromContent.h"

#include <bitset>
#include <memory>

#include "ctl/MemoryEeprom.h"
#include "ctl/Report.h"
#include "eeprom/FileAllocationTable.h"
#include "eeprom/PosixEEpromHandler.h"
#include "eeprom/StoredImage.h"

namespace {

using Bytes = std::vector<unsigned char>;
using Entry = FileAllocationTable::Entry;

constexpr unsigned short TableAddress = EEPromHelper::FileAllocationTableEntryOffset;

// Collects what there is to tell about an image of the right size. The store works on a copy: it enters a
// file that it recognises in the reserved place into the table.
class Inspection final {
 public:
  explicit Inspection(std::span<const unsigned char> image)
      : memory(image.begin(), image.end()),
        store(std::make_unique<MemoryEeprom>(memory)),
        table(FileAllocationTable::Decode(
            std::span(memory).subspan<TableAddress, FileAllocationTable::EncodedSize>())) {}

  EepromContent Run() {
    InspectSettings();
    for (std::size_t file = 0; file < content.files.size(); ++file) {
      InspectFile(file);
      if (HasImage(file)) InspectPlace(file);
    }
    content.freeBytes = CountFreeBytes();
    return std::move(content);
  }

 private:
  void AddProblem(const char* id, std::vector<std::size_t> files, const std::string& text) {
    content.problems.push_back({id, text, std::move(files)});
  }

  void InspectSettings() {
    const unsigned short revision = store.WordGet(EEPromHelper::BoardTypeSetAddress);
    if (revision != EEPromHelper::FreshEEPromValue) content.revision = revision;
    const unsigned char flag = store.ByteGet(EEPromHelper::DeveloperByteSetAddress);
    content.developerByte = flag;
    if (flag == EEPromHelper::DeveloperBoardEnabled || flag == EEPromHelper::DeveloperBoardDisabled ||
        flag == Eeprom::ErasedByte) {
      return;
    }
    AddProblem("developer-flag", {}, "no command writes a developer-board flag of " + Hex(flag));
  }

  void InspectFile(std::size_t index) {
    const auto type = FileAllocationTable::Files.at(index);
    const Bytes readable = store.ReadCurrentFile(type);
    Entry entry = table[type];
    if (!readable.empty()) {
      // The table need not describe file 1 for the store to read it.
      entry = {store.GetFileStartAddress(type), static_cast<unsigned short>(readable.size())};
    } else if (!table.DescribesFile(type) || table.IsTorn(type)) {
      if (entry == FileAllocationTable::Erased) return;
      return AddProblem("torn-entry", {index},
                        "the table entry of " + FileTitle(index) + " is torn: address " + Hex(entry.Address) +
                            ", size " + Hex(entry.Size));
    }
    FileContent& file = content.files[index];
    file.address = entry.Address;
    file.size = entry.Size;
    if (readable.empty() && index == 0 && entry == FileAllocationTable::Reservation) {
      file.state = FileState::Reserved;
    } else {
      InspectImage(index, !readable.empty());
    }
  }

  void InspectImage(std::size_t index, bool isReadable) {
    FileContent& file = content.files[index];
    Bytes bytes(*file.size);
    MemoryEeprom(memory).Read(*file.address, bytes.data(), *file.size);
    const StoredImage image(std::move(bytes));
    file.checksum = image.StoredChecksum();
    file.computedChecksum = image.ComputedChecksum();
    file.data.assign(image.Data().begin(), image.Data().end());
    if (isReadable) {
      file.state = FileState::Stored;
    } else if (*file.size == StoredImage::ChecksumSize) {
      file.state = FileState::Empty;
    } else {
      file.state = FileState::Damaged;
      AddProblem("damaged", {index},
                 FileTitle(index) + " is damaged: stored checksum " + Hex(*file.checksum) + ", computed " +
                     Hex(*file.computedChecksum));
    }
  }

  void InspectPlace(std::size_t index) {
    const FileContent& file = content.files[index];
    const auto add = [&](const char* id, const std::string& where) {
      AddProblem(id, {index},
                 "the image of " + FileTitle(index) + ", " + std::to_string(*file.size) + " bytes at " +
                     Hex(*file.address) + ", " + where);
    };
    if (0UL + *file.address + *file.size > MemoryEeprom::Size) add("beyond-end", "reaches beyond the end");
    if (*file.address < EEPromHelper::FilesInEEPromStartOffset) add("below-files", "begins below 0x0040");
    if (Overlap(*file.address, *file.size, TableAddress, FileAllocationTable::EncodedSize,
                MemoryEeprom::Size)) {
      add("over-table", "lies over the table");
    }
    for (std::size_t other = 0; other < index; ++other) {
      if (!HasImage(other) || !Overlap(*file.address, *file.size, *content.files[other].address,
                                       *content.files[other].size, MemoryEeprom::Size)) {
        continue;
      }
      AddProblem("overlap", {other, index},
                 "the images of " + FileTitle(other) + " and " + FileTitle(index) + " overlap");
    }
  }

  [[nodiscard]] bool HasImage(std::size_t file) const {
    const FileState state = content.files[file].state;
    return state != FileState::Absent && state != FileState::Reserved;
  }

  [[nodiscard]] unsigned long CountFreeBytes() const {
    std::bitset<MemoryEeprom::Size> used;
    for (std::size_t file = 0; file < content.files.size(); ++file) {
      if (!HasImage(file)) continue;
      for (unsigned int i = 0; i < *content.files[file].size; ++i) {
        used.set((*content.files[file].address + i) % used.size());
      }
    }
    return (~used >> EEPromHelper::FilesInEEPromStartOffset).count();
  }

  Bytes memory;
  PosixEEpromHandler store;
  FileAllocationTable table;
  EepromContent content;
};

}  // namespace

EepromContent Inspect(std::span<const unsigned char> image) {
  if (image.size() == MemoryEeprom::Size) return Inspection(image).Run();
  const std::string size =
      image.size() > MemoryEeprom::Size ? "more than 32768" : std::to_string(image.size());
  EepromContent content;
  content.problems.push_back({"wrong-size", "the image has " + size + " bytes instead of 32768", {}});
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
