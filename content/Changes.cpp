#include "content/Changes.h"

#include <algorithm>
#include <memory>
#include <stdexcept>
#include <string>

#include "content/EepromContent.h"
#include "content/MemoryEeprom.h"
#include "eeprom/PosixEEpromHandler.h"

namespace {

using Bytes = std::vector<unsigned char>;
using File = FileAllocationTable::File;

// The data of each file that must be readable in the end.
using Expected = std::array<std::optional<Bytes>, FileAllocationTable::Files.size()>;

Expected ExpectedFiles(const Changes& changes, const EepromContent& before) {
  Expected expected = changes.files;
  for (std::size_t file = 0; file < expected.size(); ++file) {
    const FileContent& old = before.files[file];
    const bool stays = !expected[file] && !changes.removed[file];
    if (stays && old.state == FileState::Stored) expected[file] = old.data;
  }
  return expected;
}

void EraseEntry(Eeprom& memory, File file) {
  std::array<unsigned char, FileAllocationTable::EncodedSize> bytes{};
  constexpr unsigned short Address = EEPromHelper::FileAllocationTableEntryOffset;
  memory.Read(Address, bytes.data(), static_cast<int>(bytes.size()));
  FileAllocationTable table = FileAllocationTable::Decode(bytes);
  if (table[file] == FileAllocationTable::Erased) return;
  table[file] = FileAllocationTable::Erased;
  bytes = table.Encode();
  memory.Write(Address, bytes.data(), static_cast<int>(bytes.size()));
}

void Remove(Bytes& image, PageSet& written, File file) {
  MemoryEeprom memory(image, &written);
  EraseEntry(memory, file);
  if (file != File::PeripheralConfig) return;
  const auto isRecognised = [&image] { return Examine(image).files.front().state == FileState::Stored; };
  for (unsigned int at = EEPromHelper::FilesInEEPromStartOffset; isRecognised() && at < EepromSize;
       at += PageSize) {
    memory.Erase(static_cast<unsigned short>(at), PageSize);
  }
}

// The store on `image`, as Brindle opens it at its start.
PosixEEpromHandler OpenStore(Bytes& image, PageSet& written) {
  return PosixEEpromHandler(std::make_unique<MemoryEeprom>(image, &written));
}

void CheckResult(const Changes& changes, const Expected& expected, const Bytes& image) {
  const EepromContent after = Examine(image);
  for (std::size_t file = 0; file < expected.size(); ++file) {
    const FileContent& result = after.files[file];
    const bool isStored = result.state == FileState::Stored;
    if (changes.removed[file] && isStored) {
      throw std::runtime_error(FileTitle(file) + " would still be recognised at Brindle's next start");
    }
    if (expected[file] && !(isStored && result.data == *expected[file])) {
      throw std::runtime_error(FileTitle(file) + " could not be read back at Brindle's next start");
    }
  }
}

}  // namespace

Target Apply(const Changes& changes, std::vector<unsigned char> base) {
  const Expected expected = ExpectedFiles(changes, Examine(base));
  PageSet written;
  for (const File file : FileAllocationTable::Files) {
    if (changes.removed.at(static_cast<std::size_t>(file))) Remove(base, written, file);
  }
  for (const File file : FileAllocationTable::Files) {
    const auto index = static_cast<std::size_t>(file);
    const auto& data = changes.files.at(index);
    if (data && !OpenStore(base, written).Write(file, *data)) {
      throw std::runtime_error("no room for " + FileTitle(index));
    }
  }
  PosixEEpromHandler store = OpenStore(base, written);
  if (changes.revision) store.WordSet(EEPromHelper::BoardTypeSetAddress, *changes.revision);
  if (changes.developer) {
    store.DeveloperBoardSet(EEPromHelper::DeveloperByteSetAddress, *changes.developer ? "1" : "0");
  }
  CheckResult(changes, expected, base);
  return {std::move(base), written};
}

std::vector<unsigned char> ErasedImage() {
  Bytes image(EepromSize, Eeprom::ErasedByte);
  return image;
}
