// Stores connections, always as a batch, even a single one. A batch binds its values, so a quote in a name from the
// network is just a character, where the function for single entries would run it as SQL.
#pragma once

#include <vector>

#include "Corix_annal.h"
#include "tools/annalctl/import/run.h"

namespace annalctl::conn {

// Stores the records, all of which are within the library's bounds. A batch deletes a log in which it cannot prepare
// its statements, and waits for a lock again for each record. So this first checks that the log takes entries, waits
// for a lock once, and leaves a log that takes none alone.
[[nodiscard]] Stored store(std::vector<ConnRecord>& records);

}  // namespace annalctl::conn
