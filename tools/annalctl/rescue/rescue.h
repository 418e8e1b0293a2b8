// Getting the rows out of a damaged log, into a new file with this release's schema.
#pragma once

#include <atomic>
#include <cstdint>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "tools/annalctl/base/log.h"
#include "tools/annalctl/rescue/new_log.h"

namespace annalctl {

// How far it has come, for a thread that tells.
struct Advance {
  std::atomic<int> percent = 0;
  std::atomic<std::int64_t> rows = 0;
};

using Ids = std::set<std::int64_t>;

struct Rescued {
  std::int64_t rows = 0;
  std::optional<std::int64_t> lost;  // of those that are known to have been there; nothing: cannot be told
  Ids lost_ids;
  Ids doubtful;                 // saved rows of which a value is damaged, or another one in an index
  Ids mended;                   // saved rows of which a value was damaged, and is what an index has of it
  std::int64_t uncompared = 0;  // saved rows of which no intact index has a value
  std::vector<std::string> columns_uncompared;  // whose values no intact index has
  bool whole = false;                           // the table itself could be read to its end
  int limit = 0;
  int batch = 0;
  bool limit_kept = false;
  std::vector<std::string> columns_left;  // the old file has them, and this release knows none of that name
  std::vector<std::string> columns_lost;  // this release has them, and the old file cannot tell their values
  std::vector<std::string> tables_left;
  std::uint64_t refused = 0;  // reads that the disk has failed
};

// Reads the damaged file as it is, without a lock or its journal: nobody may change it meanwhile. The new file is an
// empty one; whatever else it holds afterwards, after a failure, is of no use. Throws RescueFailure.
[[nodiscard]] Rescued rescue(const Log& log, const std::string& damaged, const std::string& anew, Advance& advance);

}  // namespace annalctl
