// Parses the times that other programs write.
#include "tools/annalctl/arguments/time_text.h"

#include <array>
#include <cstddef>
#include <ctime>
#include <limits>

#include "tools/annalctl/base/failure.h"
#include "tools/annalctl/base/printable.h"
#include "tools/annalctl/base/whole_number.h"

namespace annalctl {

namespace {

bool take_digits(std::string_view& text, std::size_t count, int& number) {
  if (text.size() < count) {
    return false;
  }
  int value = 0;
  for (const char c : text.substr(0, count)) {
    if (!is_digit(c)) {
      return false;
    }
    value = value * 10 + (c - '0');
  }
  number = value;
  text.remove_prefix(count);
  return true;
}

bool take_one_of(std::string_view& text, std::string_view characters) {
  if (text.empty() || characters.find(text.front()) == std::string_view::npos) {
    return false;
  }
  text.remove_prefix(1);
  return true;
}

bool take_date(std::string_view& text, CalendarTime& time) {
  return take_digits(text, 4, time.year) && take_one_of(text, "-") && take_digits(text, 2, time.month) &&
         take_one_of(text, "-") && take_digits(text, 2, time.day);
}

void skip_fraction(std::string_view& text) {
  if (text.size() < 2 || (text[0] != '.' && text[0] != ',') || !is_digit(text[1])) {
    return;
  }
  text.remove_prefix(1);
  while (!text.empty() && is_digit(text.front())) {
    text.remove_prefix(1);
  }
}

// Seconds east of UTC, when a zone follows.
std::optional<int> take_zone(std::string_view& text) {
  if (take_one_of(text, "Zz")) {
    return 0;
  }
  std::string_view rest = text;
  const bool west = rest.substr(0, 1) == "-";
  int hours = 0;
  int minutes = 0;
  if (!take_one_of(rest, "+-") || !take_digits(rest, 2, hours)) {
    return {};
  }
  static_cast<void>(take_one_of(rest, ":"));
  if (!take_digits(rest, 2, minutes) || hours > 23 || minutes > 59) {
    return {};
  }
  text = rest;
  const int seconds = hours * 3600 + minutes * 60;
  return west ? -seconds : seconds;
}

bool is_leap(int year) {
  return year % 4 == 0 && (year % 100 != 0 || year % 400 == 0);
}

bool exists(const CalendarTime& time) {
  constexpr std::array kDays{31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
  if (time.month < 1 || time.month > 12) {
    return false;
  }
  const bool leap_day = time.month == 2 && is_leap(time.year);
  const int days = leap_day ? 29 : kDays.at(static_cast<std::size_t>(time.month - 1));
  constexpr int kLeapSecond = 60;
  return time.day >= 1 && time.day <= days && time.hour <= 23 && time.minute <= 59 && time.second <= kLeapSecond;
}

std::tm fields_of(const CalendarTime& time) {
  std::tm fields{};
  fields.tm_year = time.year - 1900;
  fields.tm_mon = time.month - 1;
  fields.tm_mday = time.day;
  fields.tm_hour = time.hour;
  fields.tm_min = time.minute;
  fields.tm_sec = time.second;
  fields.tm_isdst = -1;  // whichever holds on that day
  return fields;
}

}  // namespace

std::optional<std::int64_t> local_seconds(const CalendarTime& time) {
  if (!exists(time)) {
    return {};
  }
  std::tm fields = fields_of(time);
  return std::mktime(&fields);
}

bool take_clock(std::string_view& text, CalendarTime& time) {
  return take_digits(text, 2, time.hour) && take_one_of(text, ":") && take_digits(text, 2, time.minute) &&
         take_one_of(text, ":") && take_digits(text, 2, time.second);
}

std::optional<std::int64_t> take_iso_time(std::string_view& text) {
  std::string_view rest = text;
  CalendarTime time{};
  if (!take_date(rest, time) || !take_one_of(rest, " T") || !take_clock(rest, time) || !exists(time)) {
    return {};
  }
  skip_fraction(rest);
  const std::optional<int> zone = take_zone(rest);
  text = rest;
  if (!zone) {
    return local_seconds(time);
  }
  std::tm fields = fields_of(time);
  return timegm(&fields) - *zone;
}

std::optional<std::int64_t> parse_time(std::string_view text) {
  if (!text.empty() && text.front() == '@') {
    return whole_number<std::int64_t>(text.substr(1));
  }
  const std::optional<std::int64_t> seconds = take_iso_time(text);
  return text.empty() ? seconds : std::nullopt;
}

std::int32_t storable_time(std::int64_t seconds) {
  using Stamp = std::numeric_limits<std::int32_t>;
  if (seconds < Stamp::min() || seconds > Stamp::max()) {
    throw Refusal("the time cannot be stored: only 1901-12-13 to 2038-01-19 can");
  }
  if (seconds == 0) {
    throw Refusal("the time 1970-01-01 00:00:00 UTC cannot be stored: 0 stands for now");
  }
  return static_cast<std::int32_t>(seconds);
}

}  // namespace annalctl
