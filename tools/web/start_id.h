// Finds the entry of a log at which a page begins.
#pragma once

#include <cstdint>

#include "tools/web/open_log.h"
#include "tools/web/selection.h"

namespace annal_web {

// The id of about the last entry that does not follow a place in the order of times. Ids rise with the times, except
// those of imported entries, so it is where to look first and not the whole answer.
[[nodiscard]] std::int64_t start_id(const OpenLog& log, const Place& place, std::int64_t highest);

}  // namespace annal_web
