// Whose rights a log is used with. Whoever may write a log, its folder or a folder above it decides which files SQLite
// changes and deletes when it opens the log: a journal beside it names any file, and undoing it deletes that file. So a
// log is opened with no more rights than those who can write there have anyway.
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
  std::string name;  // the user's, or the number of one that has no name
};

// Several users could turn the caller's rights against him: the sentence says where, and what to do.
class RightsFailure : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

// The rights to take on before the log is opened, or nothing when the process may open it as it is. Throws
// RightsFailure.
[[nodiscard]] std::optional<Rights> rights_needed_for(const Log& log);

// Takes them on for the rest of the process, which cannot get its own back. Throws RightsFailure, and then the process
// must open no log.
void take_on(const Rights& rights);

// Both of these, before a command that uses this log and no other.
void take_rights_for(const Log& log);

// For a command that uses several logs: does the work here or, with rights that are taken on for it alone, in a child
// process. Returns the work's answer, which is false when the child could not give one. Throws RightsFailure.
[[nodiscard]] bool with_rights_for(const Log& log, const std::function<bool()>& work);

// The user whose rights were taken on, if any were.
[[nodiscard]] std::optional<std::string> rights_taken_from();

}  // namespace annalctl
