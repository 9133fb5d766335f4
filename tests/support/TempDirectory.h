// A directory of a test's own, removed with everything in it.
#pragma once

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <stdexcept>
#include <string>

class TempDirectory final {
 public:
  TempDirectory() : path((std::filesystem::temp_directory_path() / "brindle-XXXXXX").string()) {
    if (mkdtemp(path.data()) == nullptr) throw std::runtime_error("no temporary directory");
  }
  ~TempDirectory() { std::filesystem::remove_all(path); }
  TempDirectory(const TempDirectory&) = delete;
  TempDirectory& operator=(const TempDirectory&) = delete;

  std::string operator/(const std::string& name) const { return path + "/" + name; }

  // Makes a file and returns its path.
  std::string File(const std::string& name, const std::string& content) const {
    std::ofstream(*this / name, std::ios::binary) << content;
    return *this / name;
  }

 private:
  std::string path;
};

inline std::string ContentOf(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), {}};
}
