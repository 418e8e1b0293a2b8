// The names of a line's parts: the groups of --pattern and of the formats that are expressions, and the header of a CSV
// file.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "tools/annalctl/import/log_line.h"

namespace annalctl {

// Builds a line from its parts, in any order.
class LineFields {
 public:
  // time_format: strptime's; empty for the forms that line_time knows.
  LineFields(std::int64_t now, const std::string& time_format) : now_(now), time_format_(time_format) {}

  [[nodiscard]] static bool knows(std::string_view name);

  // Ignores a part that is empty or "-", which means none in several formats. Throws Refusal for a text that the name
  // does not allow.
  void set(std::string_view name, std::string_view text);

  // Looks in the text for a user, an address and a level that the parts do not give. Without a time it is now.
  [[nodiscard]] LogLine finish();

 private:
  friend struct FieldSetters;

  std::int64_t now_;
  const std::string& time_format_;
  LogLine line_;
  bool timed_ = false;
  bool levelled_ = false;
};

// "time, host, …"
[[nodiscard]] std::string names_of_line_fields();

// The address and the user that a text mentions.
[[nodiscard]] std::string_view address_in(std::string_view text);
[[nodiscard]] std::string_view user_in(std::string_view text);

}  // namespace annalctl
