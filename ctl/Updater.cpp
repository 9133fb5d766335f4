#include "ctl/Updater.h"

#include <algorithm>
#include <stdexcept>
#include <utility>

#include "content/Confirmation.h"
#include "content/MemoryEeprom.h"

namespace {

using Bytes = std::vector<unsigned char>;

std::span<const unsigned char> Page(const Bytes& content, std::size_t page) {
  return std::span(content).subspan(page * PageSize, PageSize);
}

}  // namespace

std::vector<std::size_t> WritingOrder(const PageSet& pages) {
  std::vector<std::size_t> order;
  for (std::size_t i = 1; i <= PageCount; ++i) {
    if (pages[i % PageCount]) order.push_back(i % PageCount);
  }
  return order;
}

Updater::Updater(Eeprom& borrowedChip, std::string chipName)
    : chip(borrowedChip), name(std::move(chipName)), reading(chip, name) {
  (void)reading.Content();
  readSeconds = ElapsedSeconds();
}

double Updater::ElapsedSeconds() const {
  return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

unsigned long Updater::Seconds(std::size_t pages) const {
  constexpr double WritePause = 0.006;  // the driver's, after each page
  const double onePage = writtenPages > 0 ? writeSeconds / static_cast<double>(writtenPages)
                                          : readSeconds / PageCount + WritePause;
  return static_cast<unsigned long>(readSeconds + static_cast<double>(pages) * onePage) + 1;
}

PageSet Updater::ForeignPages(const Journal& journal) {
  reading.Confirm(DifferingPages(reading.Content(), journal.target) & journal.pages);
  const Bytes& now = reading.Content();
  return DifferingPages(now, journal.old) & DifferingPages(now, journal.target) & journal.pages;
}

PageSet Updater::StrayPages(const Journal& journal) {
  Bytes old = journal.old;
  MemoryEeprom memory(old);
  const auto lost = IntactBytes(memory) & ~IntactBytes(reading);
  const Bytes& now = reading.Content();
  PageSet stray;
  for (std::size_t i = 0; i < EepromSize; ++i) {
    if (lost[i] && now[i] != old[i]) stray.set(i / PageSize);
  }
  return stray & ~journal.pages;
}

bool Updater::IsCutOff(const Journal& journal) {
  const PageSet foreign = ForeignPages(journal);
  if (StrayPages(journal).any()) return false;
  if (foreign.none()) return true;
  const PageSet unfinished = DifferingPages(reading.Content(), journal.target) & journal.pages;
  const std::size_t torn = WritingOrder(unfinished).front();
  return foreign == PageSet().set(torn) && DifferingPages(journal.old, journal.target)[torn];
}

void Updater::Prepare(Plan newPlan) {
  plan = std::move(newPlan);
  PageSet confirmed;
  while (true) {
    before = reading.Content();
    content = before;
    target = plan(before);
    const PageSet open = Pending() & ~confirmed;
    if (open.none()) break;
    reading.Confirm(open);
    confirmed |= open;
  }
  MemoryEeprom memory(before);
  intact = IntactBytes(memory);
}

void Updater::ConfirmUniformPages() {
  if (!reading.IsDisturbed()) return;
  PageSet uniform;
  for (std::size_t page = 0; page < PageCount; ++page) {
    uniform.set(page, IsUniform(Page(before, page)));
  }
  reading.Confirm(uniform);
  Prepare(plan);
}

PageSet Updater::Pending() const {
  return DifferingPages(content, target.content) & target.pages;
}

void Updater::Run(const Keep& keep, const Progress& progress) {
  constexpr int Rounds = 3;
  Bytes old = before;
  PageSet written;
  bool isKept = false;
  for (int round = 0; Pending().any(); ++round) {
    if (round == Rounds) throw std::runtime_error(name + ": EEPROM does not hold what was written");
    const PageSet pages = Pending();
    const PageSet added = pages & ~written;
    CopyPages(added, content, old);
    written |= pages;
    if (keep && (!isKept || added.any())) keep(old, target, written);
    isContentKnown = false;
    WritePages(pages, progress);
    isKept = ReadBack(written);
    isContentKnown = true;
  }
}

void Updater::WritePages(const PageSet& pages, const Progress& progress) {
  std::size_t count = 0;
  for (const std::size_t page : WritingOrder(pages)) {
    const double begin = ElapsedSeconds();
    if (!WritePage(page)) return;
    writeSeconds += ElapsedSeconds() - begin;
    ++writtenPages;
    progress(++count, pages.count());
  }
}

// Writes from the first to the last byte that differs.
bool Updater::WritePage(std::size_t page) {
  const auto now = Page(content, page);
  const auto wanted = Page(target.content, page);
  const auto first = std::ranges::mismatch(now, wanted).in1 - now.begin();
  const auto last = std::mismatch(now.rbegin(), now.rend(), wanted.rbegin()).first.base() - now.begin();
  const int length = static_cast<int>(last - first);
  const auto address = static_cast<unsigned short>(page * PageSize + static_cast<std::size_t>(first));
  return chip.Write(address, wanted.data() + first, length) == length;
}

// Reads the whole chip. Returns whether the target is still the one that was kept.
bool Updater::ReadBack(const PageSet& written) {
  CachedEeprom after(chip, name);
  const PageSet unlikeTarget = DifferingPages(after.Content(), target.content) & target.pages;
  const PageSet unlikeBefore = DifferingPages(after.Content(), before) & ~target.pages;
  after.Confirm(unlikeTarget | unlikeBefore);
  // The address of this reading may have been flipped as that of a write was: then a page that went elsewhere
  // looks as if it were in its place.
  if (after.IsDisturbed()) after.Confirm(written);
  content = after.Content();
  const PageSet changed = DifferingPages(content, before) & ~written;
  if (changed.none()) return true;
  for (const PageRun& run : RunsOf(changed & ~reading.Confirmed())) {
    for (std::size_t i = run.first * PageSize; i < (run.first + run.count) * PageSize; ++i) {
      if (!intact[i]) before[i] = content[i];
    }
  }
  target = plan(before);
  target.pages |= written | (DifferingPages(content, before) & changed);
  return false;
}
