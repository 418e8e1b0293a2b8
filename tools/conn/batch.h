// Storing connections: always as a batch, also one alone. It binds its values, so that a quote in a name that came from
// the network is a character like any other, where the form for single entries would make SQL of it.
#pragma once

#include <vector>

#include "Corix_annal.h"
#include "tools/import/run.h"

namespace annalctl::conn {

// Stores the records, all of which are within the library's bounds. A batch throws away a log
// that it cannot write to; so this looks first, and leaves such a log alone.
[[nodiscard]] Stored store(std::vector<ConnRecord>& records);

}  // namespace annalctl::conn
