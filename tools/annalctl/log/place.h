// Where a log is: at its place on the appliance, or in another folder or file, such as a copy from another
// appliance.
#pragma once

#include <functional>
#include <string>

#include "tools/annalctl/base/log.h"
#include "tools/annalctl/output/session.h"

namespace annalctl {

enum class Intent {
  kReading,
  kChanging,
  kDeleting,  // entries on purpose, which whoever keeps account of them is told of
  kAdding,    // the library does it only at the log's own place, and tells this appliance's programs
};

[[nodiscard]] Intent intent_of(const std::string& verb);

// Leads the log to its file; file: empty for none. Elsewhere it is read-only, unless the session says otherwise. Throws
// Refusal for what cannot be done there.
void settle(Log& log, const std::string& file, const Place& place, Intent intent);

// What is done for a log that is about to lose entries, with the caller's own rights: the log's may not be enough.
void before_deleting(void (*prepare)(const Log& log));
void prepare_for(const Log& log, Intent intent);

// Done once, when it is known that the next log may be used as is intended, and with the caller's own rights still.
void when_settled(std::function<void()> work);

// Leads all logs to their own places again.
void forget_places();

// Assumes the rights for opening the log, before a command that uses no other.
void take_rights_where_it_is(const Log& log);

}  // namespace annalctl
