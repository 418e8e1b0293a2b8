// The size limit of a log, and how many entries beyond it are deleted at once.
#pragma once

#include <algorithm>

namespace annalctl {

// A full log looks through all that it holds for its oldest entries: with a batch it does so once for that many entries
// added, and not for each.
[[nodiscard]] constexpr int usual_batch(int limit) {
  constexpr int kPercent = 100;
  return std::max(1, limit / kPercent);
}

}  // namespace annalctl
