// SPDX-License-Identifier: MIT
// Gives up the rights of root for those of another user.
#pragma once

#include <sys/types.h>

#include <string>

namespace service {

struct User {
  std::string name;
  uid_t uid = 0;
  gid_t gid = 0;
};

// @return false when the system has no user of this name
bool find_user(const std::string& name, User& user);

// The process becomes this user, with all groups of the user, and cannot return. Throws when it may
// not do this.
void become(const User& user);

}  // namespace service
