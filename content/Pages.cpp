#include "content/Pages.h"

#include <algorithm>
#include <functional>

PageSet PagesOf(std::size_t address, std::size_t length) {
  PageSet pages;
  if (length == 0) return pages;
  const std::size_t end = address + length;
  for (std::size_t at = address / PageSize * PageSize; at < end; at += PageSize) {
    pages.set(at / PageSize % PageCount);
  }
  return pages;
}

PageSet DifferingPages(std::span<const unsigned char> left, std::span<const unsigned char> right) {
  PageSet pages;
  for (std::size_t page = 0; page < PageCount; ++page) {
    const auto leftPage = left.subspan(page * PageSize, PageSize);
    pages.set(page, !std::ranges::equal(leftPage, right.subspan(page * PageSize, PageSize)));
  }
  return pages;
}

bool IsUniform(std::span<const unsigned char> bytes) {
  return std::ranges::adjacent_find(bytes, std::ranges::not_equal_to()) == bytes.end();
}

void CopyPages(const PageSet& pages, std::span<const unsigned char> from, std::span<unsigned char> to) {
  for (const PageRun& run : RunsOf(pages)) {
    const std::size_t offset = run.first * PageSize;
    std::ranges::copy(from.subspan(offset, run.count * PageSize), to.subspan(offset).begin());
  }
}

std::vector<PageRun> RunsOf(const PageSet& pages) {
  std::vector<PageRun> runs;
  for (std::size_t page = 0; page < PageCount; ++page) {
    if (!pages[page]) continue;
    if (page > 0 && pages[page - 1]) {
      ++runs.back().count;
    } else {
      runs.push_back({page, 1});
    }
  }
  return runs;
}
