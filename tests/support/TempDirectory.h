// A directory of a test's own, removed with everything in it.
#pragma once

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <stdexcept>
#include <string>

class TempDirectory {
 public:
  TempDirectory() : path((std::filesystem::temp_directory_path() / "brindle-XXXXXX").string()) {
    if (mkdtemp(path.data()) == nullptr) throw std::runtime_error("no temporary directory");
  }
  ~TempDirectory() { std::filesystem::remove_all(path); }
  TempDirectory(TempDirectory const&) = delete;
  TempDirectory& operator=(TempDirectory const&) = delete;

  std::string operator/(std::string const& name) const { return path + "/" + name; }

  // Makes a file and returns its path.
  std::string File(std::string const& name, std::string const& content) const {
    std::ofstream(*this / name, std::ios::binary) << content;
    return *this / name;
  }

 private:
  std::string path;
};

inline std::string ContentOf(std::string const& path) {
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), {}};
}
