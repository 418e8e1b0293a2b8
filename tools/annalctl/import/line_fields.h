// The names under which a line's parts are known: the groups of --pattern and of the formats that are expressions, and
// the header of a CSV file.
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

  // A part that is empty or "-", which stands for none in several formats, is left out. Throws Refusal for what the
  // name does not allow.
  void set(std::string_view name, std::string_view text);

  // What the parts do not tell, user, address and level, is looked for in the text. Without a time it is now.
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

// The address and the user that a text speaks of.
[[nodiscard]] std::string_view address_in(std::string_view text);
[[nodiscard]] std::string_view user_in(std::string_view text);

}  // namespace annalctl
