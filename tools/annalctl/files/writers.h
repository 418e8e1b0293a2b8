// Who can write a file, or change what its name leads to.
#pragma once

#include <sys/types.h>

#include <optional>
#include <set>
#include <string>

namespace annalctl {

struct Writers {
  // The owner of a folder counts in any mode, because he can change it. Left out are root and the caller, who decide
  // for themselves, and users and groups from outside of the caller's user namespace, who cannot be told apart and
  // against whom its rights are of no use. A group that is private to one user counts as that user.
  std::set<uid_t> users;

  struct Group {
    gid_t id;
    std::string place;
  };
  std::optional<Group> group;            // one of them, and what it can write
  std::optional<std::string> everybody;  // what every user can write
};

// Looks at the file, at what SQLite keeps beside it, and at each folder and link on the way there. Where something is
// missing the way ends.
[[nodiscard]] Writers writers_of(const std::string& path);

}  // namespace annalctl
