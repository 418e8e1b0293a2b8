// Counts a log's entries in words.
#include "tools/annalctl/log/number_of.h"

#include <fmt/format.h>

#include <string_view>

namespace annalctl {

std::string number_of(std::int64_t count, const Log& log) {
  std::string_view entries = log.entries;
  if (count == 1) {
    entries.remove_suffix(1);
  }
  return fmt::format("{} {}", count, entries);
}

}  // namespace annalctl
