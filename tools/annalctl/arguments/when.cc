#include "tools/annalctl/arguments/when.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <charconv>
#include <ctime>

#include "tools/annalctl/arguments/time_text.h"
#include "tools/annalctl/base/failure.h"
#include "tools/annalctl/base/printable.h"

namespace annalctl {

namespace {

struct Day {
  std::string_view name;
  int days_back;
};

constexpr std::array kDays{Day{"today", 0}, Day{"yesterday", 1}};

// Hours are as long as each other, days and what is counted in them keep the time of day.
struct Unit {
  std::string_view name;  // also with an "s" behind it
  char letter;            // 0: none
  int seconds;
  int days;
  int months;
};

constexpr std::array kUnits{
    Unit{"second", 's', 1, 0, 0}, Unit{"minute", 'm', 60, 0, 0}, Unit{"hour", 'h', 3600, 0, 0},
    Unit{"day", 'd', 0, 1, 0},    Unit{"week", 'w', 0, 7, 0},    Unit{"month", 0, 0, 0, 1},
    Unit{"year", 0, 0, 0, 12},
};

// More than that of any unit reaches beyond all dates.
constexpr int kMost = 1'000'000'000;

std::tm local_fields(std::int64_t seconds) {
  const std::time_t time = seconds;
  std::tm fields{};
  localtime_r(&time, &fields);
  return fields;
}

std::int64_t end_of_day(std::tm fields, DayBound end) {
  const bool first = end == DayBound::kStart;
  fields.tm_hour = first ? 0 : 23;
  fields.tm_min = first ? 0 : 59;
  fields.tm_sec = first ? 0 : 59;
  fields.tm_isdst = -1;
  return std::mktime(&fields);
}

std::optional<std::int64_t> day(std::string_view text, std::int64_t now, DayBound end) {
  const auto* const found =
      std::find_if(kDays.begin(), kDays.end(), [text](const Day& known) { return known.name == text; });
  if (found != kDays.end()) {
    std::tm fields = local_fields(now);
    fields.tm_mday -= found->days_back;
    return end_of_day(fields, end);
  }
  // A date alone is the one that makes a whole time with a time of day behind it.
  const std::optional<std::int64_t> noon = parse_time(std::string(text) + " 12:00:00");
  return noon ? std::optional(end_of_day(local_fields(*noon), end)) : std::nullopt;
}

std::optional<std::int64_t> before(std::int64_t now, std::int64_t count, const Unit& unit) {
  std::tm fields = local_fields(now);
  const std::int64_t months = count * unit.months;
  const std::int64_t days = count * unit.days;
  if (months > kMost || days > kMost) {
    return {};
  }
  fields.tm_mon -= static_cast<int>(months);
  fields.tm_mday -= static_cast<int>(days);
  fields.tm_isdst = -1;
  const bool by_calendar = unit.months != 0 || unit.days != 0;
  return by_calendar ? std::mktime(&fields) : now - count * unit.seconds;
}

std::optional<std::int64_t> take_count(std::string_view& text) {
  int count = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), count);
  if (error != std::errc() || count < 0 || count > kMost) {
    return {};
  }
  text.remove_prefix(static_cast<std::size_t>(end - text.data()));
  return count;
}

// "-2h"
std::optional<std::int64_t> short_span(std::string_view text, std::int64_t now) {
  if (text.substr(0, 1) != "-") {
    return {};
  }
  text.remove_prefix(1);
  const std::optional<std::int64_t> count = take_count(text);
  const auto* const unit = std::find_if(kUnits.begin(), kUnits.end(), [text](const Unit& known) {
    return known.letter != 0 && text == std::string_view(&known.letter, 1);
  });
  return count && unit != kUnits.end() ? before(now, *count, *unit) : std::nullopt;
}

// "2 days ago"
std::optional<std::int64_t> long_span(std::string_view text, std::int64_t now) {
  constexpr std::string_view kAgo = " ago";
  const std::optional<std::int64_t> count = take_count(text);
  if (!count || !text.starts_with(' ') || !text.ends_with(kAgo)) {
    return {};
  }
  std::string_view name = text.substr(1, text.size() - 1 - kAgo.size());
  if (name.ends_with('s')) {
    name.remove_suffix(1);
  }
  const auto* const unit =
      std::find_if(kUnits.begin(), kUnits.end(), [name](const Unit& known) { return known.name == name; });
  return unit != kUnits.end() ? before(now, *count, *unit) : std::nullopt;
}

}  // namespace

const char* const kWhenForms =
    "A TIME is '2026-11-21', '2026-11-21 10:00:00', '@1795255200', 'now', 'today', 'yesterday', '2 days ago' or "
    "'-2h':\n"
    "seconds, minutes, hours, days, weeks, months and years ago, and s, m, h, d and w. A day alone is the whole day.";

std::optional<std::int64_t> parse_when(std::string_view text, std::int64_t now, DayBound end) {
  if (text == "now") {
    return now;
  }
  if (const auto seconds = parse_time(text)) {
    return seconds;
  }
  if (const auto seconds = day(text, now, end)) {
    return seconds;
  }
  if (const auto seconds = short_span(text, now)) {
    return seconds;
  }
  return long_span(text, now);
}

DateAndTime date_and_time(std::int64_t seconds) {
  const std::tm fields = local_fields(seconds);
  const int year = fields.tm_year + 1900;
  if (year < 0 || year > 9999) {
    throw Refusal("the time is in a year that has no four digits");
  }
  return {fmt::format("{:04}-{:02}-{:02}", year, fields.tm_mon + 1, fields.tm_mday),
          fmt::format("{:02}:{:02}:{:02}", fields.tm_hour, fields.tm_min, fields.tm_sec)};
}

}  // namespace annalctl
