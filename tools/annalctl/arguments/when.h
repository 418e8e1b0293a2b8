// Points of time as people write them: "2026-11-21", "09:00", "monday", "2 days ago", "-2h".
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace annalctl {

// Which end of the day a date without a time means.
enum class DayBound {
  kStart,
  kEnd,
};

// Seconds since 1970; nothing for a text that is not a time.
[[nodiscard]] std::optional<std::int64_t> parse_when(std::string_view text, std::int64_t now, DayBound end);

// What parse_when reads, for a help text.
extern const char* const kWhenForms;

// A moment as the logs write it: local date and time.
struct DateAndTime {
  std::string date;
  std::string time;
};

// Throws Refusal for a year without four digits.
[[nodiscard]] DateAndTime date_and_time(std::int64_t seconds);

}  // namespace annalctl
