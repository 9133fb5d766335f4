#include "content/Confirmation.h"

#include <algorithm>
#include <memory>
#include <utility>

#include "eeprom/PosixEEpromHandler.h"
#include "eeprom/StoredFiles.h"

namespace {

bool IsBlank(const StoredImage& image) {
  const auto isErased = [](unsigned char byte) { return byte == Eeprom::ErasedByte; };
  return std::all_of(image.Bytes().begin(), image.Bytes().end(), isErased);
}

// An image that start-up finds in the table, or puts there.
struct ListedImage {
  FileAllocationTable::Entry entry;
  StoredImage image;
};

std::vector<ListedImage> ListedImages(Eeprom& eeprom) {
  auto copy = std::make_unique<CachedEeprom>(eeprom);
  CachedEeprom& memory = *copy;
  const PosixEEpromHandler store(std::move(copy));
  const FileAllocationTable& table = store.Table();
  std::vector<ListedImage> images;
  for (const auto file : FileAllocationTable::Files) {
    if (!table.DescribesFile(file)) continue;
    images.push_back({table[file], StoredFiles::Read(memory, table, file).value_or(StoredImage())});
  }
  return images;
}

PageSet DoubtfulPages(Eeprom& eeprom) {
  PageSet doubtful;
  for (const auto& [entry, image] : ListedImages(eeprom)) {
    const bool isBlankReserve = entry == FileAllocationTable::Reservation && IsBlank(image);
    if (!image.IsIntact() && !isBlankReserve) doubtful |= PagesOf(entry.Address, entry.Size);
  }
  return doubtful;
}

}  // namespace

void ConfirmContent(CachedEeprom& reading) {
  reading.Confirm(PagesOf(EEPromHelper::EEPromStartAddressOffset, PageSize));
  // What is confirmed may turn out to say something else, so that other pages are in doubt.
  PageSet confirmed;
  for (PageSet doubtful = DoubtfulPages(reading); (doubtful & ~confirmed).any();
       doubtful = DoubtfulPages(reading)) {
    reading.Confirm(doubtful);
    confirmed |= doubtful;
  }
}

std::bitset<EepromSize> IntactBytes(Eeprom& eeprom) {
  std::bitset<EepromSize> intact;
  for (const auto& [entry, image] : ListedImages(eeprom)) {
    if (!image.IsIntact()) continue;
    for (unsigned int i = 0; i < entry.Size; ++i) intact.set((entry.Address + i) % EepromSize);
  }
  return intact;
}
