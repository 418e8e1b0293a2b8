// Who can write a file, or change what its name leads to.
#pragma once

#include <sys/types.h>

#include <optional>
#include <set>
#include <string>

namespace annalctl {

struct Writers {
  // A folder's owner counts in any mode, because he can change it. Root and the caller do not count, nor do users and
  // groups from outside the caller's user namespace: they cannot be told apart, and the caller's rights are of no use
  // against them. A group that is private to one user counts as that user.
  std::set<uid_t> users;

  struct Group {
    gid_t id;
    std::string place;
  };
  std::optional<Group> group;            // one of them, and what it can write
  std::optional<std::string> everybody;  // what every user can write
};

// Looks at the file, at SQLite's files beside it, and at each folder and link of the path, up to the first that is
// missing.
[[nodiscard]] Writers writers_of(const std::string& path);

}  // namespace annalctl
