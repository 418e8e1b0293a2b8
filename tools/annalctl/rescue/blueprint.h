// What the library makes of a new log, word for word.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "tools/annalctl/base/log.h"

namespace annalctl {

struct SchemaObject {
  std::string type;
  std::string name;
  std::string text;  // empty for what SQLite makes by itself
};

struct Blueprint {
  std::int64_t page_size = 0;
  std::vector<SchemaObject> objects;  // in the order in which they were made
};

// Has the library create the log in memory: its functions write to fixed paths, and what they would make there can be
// had without a file. Nothing when SQLite cannot do that. No other thread may open a database meanwhile.
[[nodiscard]] std::optional<Blueprint> blueprint_of(const Log& log, int limit, int batch);

// The statements with which the library adds, counts and lists entries, word for word. Nothing, and no other thread, as
// above.
[[nodiscard]] std::optional<std::vector<std::string>> statements_of(const Log& log);

// The name of the trigger that keeps the log within its limit.
[[nodiscard]] std::string trigger_of(const Log& log);

}  // namespace annalctl
