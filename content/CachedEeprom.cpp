#include "content/CachedEeprom.h"

#include <algorithm>
#include <span>
#include <stdexcept>
#include <utility>

namespace {

using Bytes = std::vector<unsigned char>;

auto Page(std::size_t page, auto& content) {
  return std::span(content).subspan(page * PageSize, PageSize);
}

// Returns whether the last reading of the page leads each other one by two readings, or by three if it is
// uniform and another one is not.
bool IsSettled(std::size_t page, const std::vector<Bytes>& readings) {
  const auto last = Page(page, readings.back());
  const auto votes = [&](const Bytes& reading) {
    return std::ranges::count_if(readings, [&](const Bytes& each) {
      return std::ranges::equal(Page(page, each), Page(page, reading));
    });
  };
  const auto own = votes(readings.back());
  return std::ranges::all_of(readings, [&](const Bytes& reading) {
    if (std::ranges::equal(Page(page, reading), last)) return own >= 2;
    const int lead = IsUniform(last) && !IsUniform(Page(page, reading)) ? 3 : 2;
    return own - votes(reading) >= lead;
  });
}

}  // namespace

CachedEeprom::CachedEeprom(Eeprom& copiedEeprom, std::string nameForMessages)
    : source(copiedEeprom),
      name(std::move(nameForMessages)),
      content(EepromSize, ErasedByte),
      memory(content) {}

int CachedEeprom::Read(unsigned short address, unsigned char* buffer, int length) {
  Fetch(PagesOf(address, static_cast<std::size_t>(std::max(length, 0))));
  return memory.Read(address, buffer, length);
}

int CachedEeprom::Write(unsigned short address, const unsigned char* data, int length) {
  Fetch(PagesOf(address, static_cast<std::size_t>(std::max(length, 0))));
  return memory.Write(address, data, length);
}

bool CachedEeprom::Erase(unsigned short address, unsigned short length) {
  Fetch(PagesOf(address, length));
  return memory.Erase(address, length);
}

bool CachedEeprom::EraseAll() {
  fetched.set();
  return memory.EraseAll();
}

const Bytes& CachedEeprom::Content() {
  if (fetched.none()) FetchAll();
  Fetch(PageSet().set());
  return content;
}

void CachedEeprom::Confirm(const PageSet& pages) {
  constexpr std::size_t Splits[] = {5, 11, 7, 3, 13, 9};  // bytes in the first of two reads
  Fetch(pages);
  PageSet open = pages & ~confirmed;
  std::vector<Bytes> readings = {content};
  for (const std::size_t split : Splits) {
    if (open.none()) break;
    readings.push_back(content);
    for (const PageRun& run : RunsOf(open)) ReadRun(run, split, readings.back());
    for (std::size_t page = 0; page < PageCount; ++page) {
      if (!open[page] || !IsSettled(page, readings)) continue;
      std::ranges::copy(Page(page, readings.back()), Page(page, content).begin());
      open.reset(page);
    }
    isDisturbed = isDisturbed || open.any();
  }
  if (open.any()) throw std::runtime_error(name + ": EEPROM reads differently each time");
  confirmed |= pages;
}

void CachedEeprom::Fetch(const PageSet& pages) {
  const PageSet missing = pages & ~fetched;
  if (missing.none()) return;
  for (const PageRun& run : RunsOf(missing)) ReadRun(run, 0, content);
  fetched |= missing;
}

void CachedEeprom::FetchAll() {
  Bytes bytes(EepromSize + PageSize);
  const int count = source.Read(0, bytes.data(), static_cast<int>(bytes.size()));
  if (count < static_cast<int>(EepromSize)) throw std::runtime_error(name + ": EEPROM not readable");
  const bool hasWrapped = count == static_cast<int>(bytes.size());  // a file has no bytes beyond its end
  isDisturbed = hasWrapped && !std::ranges::equal(Page(0, bytes), Page(PageCount, bytes));
  std::copy_n(bytes.begin(), EepromSize, content.begin());
  fetched.set();
}

// Reads a run of pages in two reads, of which the first has `split` bytes.
void CachedEeprom::ReadRun(const PageRun& run, std::size_t split, Bytes& into) {
  const std::size_t start = run.first * PageSize;
  const std::size_t length = run.count * PageSize;
  const auto read = [&](std::size_t offset, std::size_t count) {
    const auto address = static_cast<unsigned short>(start + offset);
    const int wanted = static_cast<int>(count);
    if (source.Read(address, into.data() + start + offset, wanted) == wanted) return;
    throw std::runtime_error(name + ": EEPROM not readable");
  };
  if (split > 0) read(0, split);
  read(split, length - split);
}
