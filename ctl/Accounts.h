// The names of users and groups.
#pragma once

#include <sys/types.h>

#include <string>

// Return the name, or the number where there is no name (getpwuid(3), getgrgid(3)).
[[nodiscard]] std::string UserName(uid_t user);
[[nodiscard]] std::string GroupName(gid_t group);
