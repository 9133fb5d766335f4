#include "robustness/Figures.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iostream>

namespace {

std::string TestName() {
  const auto* const test = testing::UnitTest::GetInstance()->current_test_info();
  std::string name = std::string(test->test_suite_name()) + "." + test->name();
  std::replace(name.begin(), name.end(), '/', '-');
  return name;
}

}  // namespace

unsigned int Figures::Stride() {
#if defined(__SANITIZE_ADDRESS__)
  return 7;
#elif defined(__SANITIZE_THREAD__)
  return 11;
#elif defined(BRINDLE_EMULATED_PROCESSOR)
  return 101;
#else
  return 1;
#endif
}

void Figures::Print(std::string const& sort, unsigned long count, std::string const& text) {
  static std::string current;
  static std::ofstream file;
  if (TestName() != current) {
    current = TestName();
    std::filesystem::create_directory("robustness-figures");
    file = std::ofstream("robustness-figures/" + current);
    file << "share\t" << Stride() << "\tone case in so many\n";
  }
  std::cout << sort << ": " << count << ' ' << text << '\n';
  file << sort << '\t' << count << '\t' << text << '\n' << std::flush;
}
