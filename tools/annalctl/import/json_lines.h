// JSON Lines: one object a line.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

#include "tools/annalctl/import/log_line.h"

namespace annalctl {

// A named value, from a JSON object or a row of a CSV file.
struct Member {
  std::string key;
  std::string text;  // of a number too, as it would be written
  bool null = false;
};

using Members = std::vector<Member>;

// Throws Refusal for a line that is not an object, and for a value that is not a text, a number or null.
[[nodiscard]] Members parse_json_line(std::string_view line);

// The same, and what "journalctl -o json" writes, which its time stamp tells.
[[nodiscard]] std::variant<LogLine, Members> parse_json_entry(std::string_view line);

}  // namespace annalctl
