#include "ctl/Updater.h"

#include <algorithm>
#include <chrono>

#include "ctl/Command.h"
#include "ctl/Source.h"

namespace {

using Bytes = std::vector<unsigned char>;

bool IsSamePage(std::size_t page, const Bytes& left, const Bytes& right) {
  const auto offset = static_cast<std::ptrdiff_t>(page * Updater::PageSize);
  return std::equal(left.begin() + offset, left.begin() + offset + Updater::PageSize, right.begin() + offset);
}

// The pages of `content` that are neither the old nor the target's ones.
std::vector<std::size_t> ForeignPages(const Bytes& content, const Journal& journal) {
  std::vector<std::size_t> pages = DifferingPages(content, journal.target);
  std::erase_if(pages, [&](std::size_t page) { return IsSamePage(page, content, journal.old); });
  return pages;
}

}  // namespace

std::vector<std::size_t> DifferingPages(const Bytes& content, const Bytes& target) {
  std::vector<std::size_t> pages;
  for (std::size_t i = 1; i <= Updater::Pages; ++i) {
    const std::size_t page = i % Updater::Pages;
    if (!IsSamePage(page, content, target)) pages.push_back(page);
  }
  return pages;
}

Updater::Updater(Eeprom& borrowedChip) : chip(borrowedChip) {
  const auto start = std::chrono::steady_clock::now();
  content = ReadChip(chip);
  readSeconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

unsigned long Updater::Seconds(std::size_t pages) const {
  constexpr double WritePause = 0.006;  // the driver's, after each page
  const double seconds = readSeconds + static_cast<double>(pages) * (readSeconds / Pages + WritePause);
  return static_cast<unsigned long>(seconds) + 1;
}

bool Updater::IsCutOff(const Journal& journal) {
  ReadAgain(ForeignPages(content, journal));
  const std::vector<std::size_t> foreign = ForeignPages(content, journal);
  if (foreign.empty()) return true;
  // Pages are written in order, so the cut can have torn only the first one that is not the target's yet.
  const std::size_t torn = DifferingPages(content, journal.target).front();
  return foreign == std::vector{torn} && !IsSamePage(torn, journal.old, journal.target);
}

void Updater::ConfirmContent() {
  content = Confirmed(chip, std::move(content));
}

void Updater::Run(const Bytes& target, const Progress& progress) {
  if (content == target) return;
  constexpr int Rounds = 3;
  for (int round = 0; round < Rounds; ++round) {
    const std::vector<std::size_t> pages = DifferingPages(content, target);
    for (std::size_t i = 0; i < pages.size(); ++i) {
      const std::size_t offset = pages[i] * PageSize;
      if (chip.Write(static_cast<unsigned short>(offset), target.data() + offset, PageSize) != PageSize)
        break;
      progress(i + 1, pages.size());
    }
    // Nothing but one undisturbed reading shows that all is right; the second one shows what to write again.
    content = ReadChip(chip);
    if (content == target) return;
    ReadAgain(DifferingPages(content, target));
  }
  throw Failure(ExitCode::Failed, "board: EEPROM does not hold what was written");
}

// One bad transfer shifts what is read after it, so a page counts as different only if two readings say so.
void Updater::ReadAgain(const std::vector<std::size_t>& pages) {
  for (const std::size_t page : pages) {
    const std::size_t offset = page * PageSize;
    if (chip.Read(static_cast<unsigned short>(offset), content.data() + offset, PageSize) != PageSize)
      throw Failure(ExitCode::Failed, "board: EEPROM not readable");
  }
}
