#include "ctl/Accounts.h"

#include <grp.h>
#include <pwd.h>

std::string UserName(uid_t user) {
  const passwd* const entry = getpwuid(user);
  return entry == nullptr ? std::to_string(user) : entry->pw_name;
}

std::string GroupName(gid_t group) {
  const ::group* const entry = getgrgid(group);
  return entry == nullptr ? std::to_string(group) : entry->gr_name;
}
