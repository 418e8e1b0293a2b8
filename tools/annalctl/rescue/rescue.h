// Copies the rows of a damaged log into a new file with this release's schema.
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

// How far it has come, for the thread that shows it.
struct Advance {
  std::atomic<int> percent = 0;
  std::atomic<std::int64_t> rows = 0;
};

using Ids = std::set<std::int64_t>;

struct Rescued {
  std::int64_t rows = 0;
  std::optional<std::int64_t> lost;  // of the rows known to have existed; nothing: unknown
  Ids lost_ids;
  Ids doubtful;                                 // saved rows with a value that is damaged, or different in an index
  Ids mended;                                   // saved rows with a damaged value, replaced by an index's
  std::int64_t uncompared = 0;                  // saved rows with no value in an intact index
  std::vector<std::string> columns_uncompared;  // columns without an intact index
  bool whole = false;                           // whether the table could be read to its end
  int limit = 0;
  int batch = 0;
  bool limit_kept = false;
  std::vector<std::string> columns_left;  // columns of the old file that this release does not know
  std::vector<std::string> columns_lost;  // columns of this release whose values the old file does not tell
  std::vector<std::string> tables_left;
  std::uint64_t refused = 0;  // reads that the disk failed
};

// Reads the damaged file as it is, without a lock or its journal: no program may change it meanwhile. The new file must
// be empty; after a failure its content is useless. Throws RescueFailure.
[[nodiscard]] Rescued rescue(const Log& log, const std::string& damaged, const std::string& new_log, Advance& advance);

}  // namespace annalctl
