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

// Local time to seconds; nothing for a day that does not exist, as 30 February.
[[nodiscard]] std::optional<std::int64_t> local_seconds(const CalendarTime& time);

// Takes one ISO time off the front of a text: "2026-11-21 10:00:00" or with a T between, then an optional fraction,
// which is left out, and an optional zone ("Z", "+02:00"); without one it is local time. The text is left alone when
// it does not begin with a time.
[[nodiscard]] std::optional<std::int64_t> take_iso_time(std::string_view& text);

// Takes "hh:mm:ss" off the front of a text into a time.
[[nodiscard]] bool take_clock(std::string_view& text, CalendarTime& time);

// A whole text: an ISO time or "@" and the seconds.
[[nodiscard]] std::optional<std::int64_t> parse_time(std::string_view text);

// A time as the logs can hold it. Throws Refusal for one beyond 32 bits, and for 0, which stands for "now".
[[nodiscard]] std::int32_t storable_time(std::int64_t seconds);

}  // namespace annalctl
