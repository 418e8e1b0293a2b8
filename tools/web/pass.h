// Goes once through the entries of a selection, in turns of a few milliseconds between which nothing is locked: counts
// them, and finds those of one page.
#pragma once

#include <cstdint>
#include <vector>

#include "tools/web/budget.h"
#include "tools/web/open_log.h"
#include "tools/web/selection.h"
#include "tools/web/summary.h"

namespace annal_web {

struct Pass {
  Summary summary;
  std::vector<Place> places;  // in their order on the page, as many as were wanted
  bool more = false;          // there are further ones, in the direction in which the page was looked for
  bool complete = true;       // false: only the entries that were added last have been looked at
};

// A log that fails on the way is given up.
[[nodiscard]] Pass pass_through(const Selection& selection, std::vector<OpenLog>& logs, std::size_t wanted,
                                const Budget& budget);

}  // namespace annal_web
