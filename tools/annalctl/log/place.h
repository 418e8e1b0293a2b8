// Where a log is: at its place on the appliance, or in another folder or file, such as a copy from another
// appliance.
#pragma once

#include <string>

#include "tools/annalctl/base/log.h"
#include "tools/annalctl/output/session.h"

namespace annalctl {

enum class Intent {
  kReading,
  kChanging,
  kAdding,  // the library does it only at the log's own place, and tells this appliance's programs
};

[[nodiscard]] Intent intent_of(const std::string& verb);

// Leads the log to its file; file: empty for none. Elsewhere it is read-only, unless the session says otherwise. Throws
// Refusal for what cannot be done there.
void settle(Log& log, const std::string& file, const Place& place, Intent intent);

// Leads all logs to their own places again.
void forget_places();

// Assumes the rights for opening the log, before a command that uses no other.
void take_rights_where_it_is(const Log& log);

}  // namespace annalctl
