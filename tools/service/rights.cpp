// SPDX-License-Identifier: MIT
#include "tools/service/rights.hpp"

#include <grp.h>
#include <pwd.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <stdexcept>

namespace service {

bool find_user(const std::string& name, User& user) {
  const passwd* entry = ::getpwnam(name.c_str());
  if (entry == nullptr) return false;
  user = {name, entry->pw_uid, entry->pw_gid};
  return true;
}

void become(const User& user) {
  // The user's groups give access to the devices. The order matters: only root may change its groups.
  if (::initgroups(user.name.c_str(), user.gid) != 0 || ::setgid(user.gid) != 0 || ::setuid(user.uid) != 0)
    throw std::runtime_error("cannot become the user " + user.name + ": " + std::strerror(errno));
}

}  // namespace service
