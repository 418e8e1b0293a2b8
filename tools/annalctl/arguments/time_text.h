// Reading times from texts, as seconds since 1970.
#pragma once

#include <cstdint>
#include <optional>
#include <string_view>

namespace annalctl {

// Year, month 1 to 12, day, hour, minute, second.
struct CalendarTime {
  int year;
  int month;
  int day;
  int hour;
  int minute;
  int second;
};

// Local time to seconds; nothing for a day that does not exist, such as 30 February.
[[nodiscard]] std::optional<std::int64_t> local_seconds(const CalendarTime& time);

// Takes an ISO time off the front of a text: "2026-11-21 10:00:00", or with a T between, then an optional fraction,
// which is ignored, and an optional zone ("Z", "+02:00"); without a zone it is local time. Leaves a text that does not
// begin with a time alone.
[[nodiscard]] std::optional<std::int64_t> take_iso_time(std::string_view& text);

// Takes "hh:mm:ss" off the front of a text into a time.
[[nodiscard]] bool take_clock(std::string_view& text, CalendarTime& time);

// A whole text: an ISO time or "@" and the seconds.
[[nodiscard]] std::optional<std::int64_t> parse_time(std::string_view text);

// A time that the logs can hold. Throws Refusal for one beyond 32 bits, and for 0, which means "now".
[[nodiscard]] std::int32_t storable_time(std::int64_t seconds);

}  // namespace annalctl
