// The values of an object's members. All throw Refusal for a text that is not what the column takes.
#pragma once

#include <cstdint>
#include <string_view>

#include "tools/annalctl/base/log.h"
#include "tools/annalctl/import/json_lines.h"

namespace annalctl {

[[nodiscard]] std::int64_t number_from(const Member& member, std::int64_t lowest, std::int64_t highest);

// By its name or its number.
[[nodiscard]] unsigned level_from(const Member& member);

// The local date and time of day, which are two columns and come one after the other. The texts are the object's.
class DateAndClock {
 public:
  explicit DateAndClock(const Log& log) : log_(log) {}

  // False for a member that is neither.
  bool take(const Member& member);

  [[nodiscard]] bool empty() const { return date_.empty() && clock_.empty(); }
  [[nodiscard]] bool complete() const { return !date_.empty() && !clock_.empty(); }
  [[nodiscard]] std::string_view date() const { return date_; }
  [[nodiscard]] std::string_view clock() const { return clock_; }

  // Since 1970.
  [[nodiscard]] std::int64_t seconds() const;

 private:
  const Log& log_;
  std::string_view date_;
  std::string_view clock_;
};

}  // namespace annalctl
