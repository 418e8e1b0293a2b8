// Checks a log's limit.
#include "tools/annalctl/log/limits.h"

#include <fmt/format.h>

#include "tools/annalctl/base/failure.h"

namespace annalctl {

void require_some_left(int limit, int batch) {
  if (batch > limit) {
    throw Refusal(fmt::format("--batch: {} is more than the limit, {}: a full log would delete all its entries at once",
                              batch, limit));
  }
}

}  // namespace annalctl
