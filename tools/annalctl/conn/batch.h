// Storing connections: always as a batch, also one alone. It binds its values, so that a quote in a name that came from
// the network is a character like any other, where the form for single entries would make SQL of it.
#pragma once

#include <vector>

#include "Corix_annal.h"
#include "tools/annalctl/import/run.h"

namespace annalctl::conn {

// Stores the records, all of which are within the library's bounds. A batch throws away a log that it cannot prepare
// its work for, and waits for a lock for each record by itself; so this first tries whether the log takes entries,
// waits for a lock once, and leaves a log alone that takes none.
[[nodiscard]] Stored store(std::vector<ConnRecord>& records);

}  // namespace annalctl::conn
