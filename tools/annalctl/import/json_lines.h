// JSON Lines: one object a line.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace annalctl {

struct JsonMember {
  std::string key;
  std::string text;  // of a number too, as it would be written
  bool null = false;
};

// Throws Refusal for what is no object, and for a value that is neither text, number nor null.
[[nodiscard]] std::vector<JsonMember> parse_json_line(std::string_view line);

}  // namespace annalctl
