// Getting the rows out of a damaged log, into a new file with this release's schema.
#pragma once

#include <cstdint>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

#include "tools/log.h"

namespace annalctl {

struct Rescued {
  std::int64_t rows = 0;
  std::optional<std::int64_t> lost;  // of those that are known to have been there; nothing: cannot be told
  bool whole = false;                // the table itself could be read to its end
  int limit = 0;
  int batch = 0;
  bool limit_kept = false;
  std::vector<std::string> columns_left;  // the old file has them, and this release knows none of that name
  std::vector<std::string> tables_left;
};

class RescueFailure : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

// Reads the damaged file as it is, without a lock or its journal: nobody may change it meanwhile. The new file is an
// empty one; whatever else it holds afterwards, after a failure, is of no use.
[[nodiscard]] Rescued rescue(const Log& log, const std::string& damaged, const std::string& anew);

}  // namespace annalctl
