// The ids of a log's entries, the oldest first, whatever the order in which they were stored.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "tools/annalctl/base/log.h"
#include "tools/annalctl/query/query.h"
#include "tools/annalctl/query/reader.h"

namespace annalctl {

class OldestFirst {
 public:
  // The query's conditions say which. Entries that are handed out have to be gone when the next are asked for.
  OldestFirst(Reader& reader, const Log& log, const Query& query);

  // Some of them; false when there is none left. Every lock is short: a day's entries are sorted in a private temporary
  // database, and not in the log.
  [[nodiscard]] bool next(std::vector<std::int64_t>& ids);

 private:
  [[nodiscard]] bool next_by_index(std::vector<std::int64_t>& ids);
  [[nodiscard]] bool sort_next_day();
  [[nodiscard]] std::optional<std::string> next_day();

  Reader& reader_;
  const Log& log_;
  Query query_;
  bool sorting_ = false;
};

}  // namespace annalctl
