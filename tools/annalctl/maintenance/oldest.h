// The ids of a log's entries, the oldest first, in whatever order they were stored.
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
  // The query's conditions say which. Delete the entries of one call before the next.
  OldestFirst(Reader& reader, const Log& log, const Query& query);

  // Some of them; false if there are none left. Every lock is short: a day's entries are sorted in a private temporary
  // database, not in the log.
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
