#include "ctl/LockHolder.h"

#include <sys/stat.h>
#include <sys/sysmacros.h>

#include <cstdio>
#include <fstream>
#include <sstream>

std::optional<LockHolder> LockHolder::Of(const std::string& directory) {
  struct stat status {};
  char place[64];
  if (stat(directory.c_str(), &status) != 0) return std::nullopt;
  std::snprintf(place, sizeof place, "%02x:%02x:%llu", major(status.st_dev), minor(status.st_dev),
                static_cast<unsigned long long>(status.st_ino));
  std::ifstream locks("/proc/locks");
  for (std::string line; std::getline(locks, line);) {
    std::istringstream words(line);
    std::string number, kind, isMandatory, access, process, locked, program;
    words >> number >> kind >> isMandatory >> access >> process >> locked;
    if (kind != "FLOCK" || locked != place) continue;
    std::ifstream name("/proc/" + process + "/comm");
    if (std::getline(name, program)) return LockHolder{process, program};
  }
  return std::nullopt;
}

bool LockHolder::IsOurs() const {
  return program == "Brindle" || program == "brindlectl";
}
