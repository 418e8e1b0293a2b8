// A log's size limit, and how many entries a full log deletes at once.
#pragma once

#include <algorithm>

namespace annalctl {

// A full log searches all its entries for the oldest: with a batch it does so once for that many new entries, instead
// of for each.
[[nodiscard]] constexpr int usual_batch(int limit) {
  constexpr int kPercent = 100;
  return std::max(1, limit / kPercent);
}

// A log that is full deletes this many after it has stored an entry. Throws Refusal if that would be all of them.
void require_some_left(int limit, int batch);

}  // namespace annalctl
