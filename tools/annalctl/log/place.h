// Where a log is: at its place on the appliance, or in a folder or a file that was named, as a copy from another one
// is.
#pragma once

#include <string>

#include "tools/annalctl/base/log.h"
#include "tools/annalctl/output/session.h"

namespace annalctl {

enum class Intent {
  kReading,
  kChanging,
  kAdding,  // which the library does at the log's own place alone, and tells this appliance's programs
};

[[nodiscard]] Intent intent_of(const std::string& verb);

// Puts the log where it was asked for; file: empty for none. Elsewhere it is for reading alone, unless the session says
// otherwise. Throws Refusal for what cannot be done there.
void settle(Log& log, const std::string& file, const Place& place, Intent intent);

// Puts all logs back to their own places.
void forget_places();

// Before a command that uses this log and no other: the rights to open it with.
void take_rights_where_it_is(const Log& log);

}  // namespace annalctl
