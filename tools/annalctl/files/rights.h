// Whose rights a log is used with. A user who may write a log, its folder or a folder above it decides which files
// SQLite changes and deletes when it opens the log: a journal beside it can name any file, and rolling it back deletes
// that file. So a log is opened with no more rights than the users have who can write there.
#pragma once

#include <sys/types.h>

#include <functional>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

#include "tools/annalctl/base/log.h"

namespace annalctl {

struct Rights {
  uid_t user = 0;
  gid_t group = 0;
  std::vector<gid_t> groups;
  std::string name;  // the user's, or its number if it has no name
};

// Several users could abuse the caller's rights: the sentence says where, and what to do.
class RightsFailure : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

// The rights to assume before the log is opened, or nothing if the process may open it as it is. Throws
// RightsFailure.
[[nodiscard]] std::optional<Rights> rights_needed_for(const Log& log);

// Assumes them for the rest of the process, which cannot get its own back. Throws RightsFailure: then the process must
// not open any log.
void take_on(const Rights& rights);

// Both of these, before a command that uses this log and no other.
void take_rights_for(const Log& log);

// For a command that uses several logs: does the work here or, if it needs to assume rights, in a child process.
// Returns the work's answer, or false if the child gave none. Throws RightsFailure.
[[nodiscard]] bool with_rights_for(const Log& log, const std::function<bool()>& work);

// The user whose rights were assumed, if any.
[[nodiscard]] std::optional<std::string> rights_taken_from();

}  // namespace annalctl
