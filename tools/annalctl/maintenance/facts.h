// Facts about a log that do not require reading all of it.
#pragma once

#include <cstdint>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "tools/annalctl/base/log.h"
#include "tools/annalctl/query/reader.h"

namespace annalctl {

// The row limit in the trigger of the log's table.
struct RowLimit {
  int limit = 0;
  int batch = 0;
};

// Nothing if there is no trigger like the library's.
[[nodiscard]] std::optional<RowLimit> row_limit_of(Reader& reader, const Log& log);

// How many bytes of the file are in use. Within a turn or a change.
[[nodiscard]] std::int64_t bytes_in_use(Reader& reader);

struct LogFacts {
  std::string log;
  std::string file;
  std::string failure;  // why the facts below are not known; otherwise empty

  std::int64_t entries = 0;
  std::vector<std::pair<std::string, std::int64_t>> levels;  // by name, in the order of their numbers
  std::string oldest;                                        // local date and time; empty without entries
  std::string newest;
  std::int64_t size = 0;
  std::int64_t in_use = 0;
  std::int64_t disk_free = 0;
  std::optional<RowLimit> limit;
  std::string suspicion;  // what needs attention; empty if nothing was seen
};

// Locks the log for a few milliseconds.
[[nodiscard]] LogFacts facts_of(const Log& log);

// For passing facts to another process. Each text is valid UTF-8.
[[nodiscard]] nlohmann::ordered_json json_of(const LogFacts& facts);
[[nodiscard]] LogFacts facts_from(const nlohmann::ordered_json& json);

}  // namespace annalctl
