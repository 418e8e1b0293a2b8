// Reads an entry's moment and level from the columns that three of the logs begin with.
#include "tools/annalctl/log/common_columns.h"

#include "tools/annalctl/arguments/time_text.h"

namespace annalctl {

std::optional<std::int64_t> moment_of(Row values) {
  const bool known = kTimePlace < values.size() && values[kDatePlace] != nullptr && values[kTimePlace] != nullptr;
  return known ? parse_time(std::string(values[kDatePlace]) + " " + values[kTimePlace]) : std::nullopt;
}

std::optional<std::string> level_of(Row values) {
  return kLevelPlace < values.size() && values[kLevelPlace] != nullptr
             ? std::optional(name_of(kLevels, values[kLevelPlace]))
             : std::nullopt;
}

}  // namespace annalctl
