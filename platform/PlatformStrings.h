// Paths that the platform fixes.
#pragma once

#include <string_view>

namespace PlatformStrings::FilePaths {

inline constexpr std::string_view DevicesPath = "/dev/";

}  // namespace PlatformStrings::FilePaths
