// Parses the times that people type.
#include "tools/annalctl/arguments/when.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <charconv>
#include <ctime>

#include "tools/annalctl/arguments/time_text.h"
#include "tools/annalctl/base/failure.h"
#include "tools/annalctl/base/printable.h"
#include "tools/annalctl/base/whole_number.h"

namespace annalctl {

namespace {

struct Day {
  std::string_view name;
  int days_back;
};

constexpr std::array kDays{Day{"today", 0}, Day{"yesterday", 1}};

// As the calendar counts them, from 0 on. Three letters do, too.
constexpr std::array<std::string_view, 7> kWeekdays{"sunday",   "monday", "tuesday", "wednesday",
                                                    "thursday", "friday", "saturday"};
constexpr std::size_t kShortWeekday = 3;

// Hours have a fixed length; days and longer units keep the time of day.
struct Unit {
  std::string_view name;        // also with an "s" at the end
  std::string_view short_name;  // "": none
  int seconds;
  int days;
  int months;
};

constexpr std::array kUnits{
    Unit{"second", "s", 1, 0, 0}, Unit{"sec", "", 1, 0, 0},      Unit{"minute", "m", 60, 0, 0},
    Unit{"min", "", 60, 0, 0},    Unit{"hour", "h", 3600, 0, 0}, Unit{"day", "d", 0, 1, 0},
    Unit{"week", "w", 0, 7, 0},   Unit{"month", "", 0, 0, 1},    Unit{"year", "", 0, 0, 12},
};

// More than that of any unit is beyond all dates.
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

// How many days ago a day of this name was; the same weekday is today.
std::optional<int> days_back(std::string_view name, int weekday) {
  const auto* const day =
      std::find_if(kDays.begin(), kDays.end(), [name](const Day& known) { return known.name == name; });
  if (day != kDays.end()) {
    return day->days_back;
  }
  const auto* const found = std::find_if(kWeekdays.begin(), kWeekdays.end(), [name](std::string_view known) {
    return known == name || known.substr(0, kShortWeekday) == name;
  });
  constexpr int kDaysOfWeek = 7;
  return found == kWeekdays.end()
             ? std::nullopt
             : std::optional((weekday - static_cast<int>(found - kWeekdays.begin()) + kDaysOfWeek) % kDaysOfWeek);
}

// Seconds may be left out where people write them, though not in files.
std::string with_seconds(std::string_view text) {
  constexpr std::string_view kMinutes = "2026-11-21 10:00";
  const bool lacks =
      text.size() >= kMinutes.size() && text[kMinutes.size() - 3] == ':' && text.substr(kMinutes.size(), 1) != ":";
  std::string whole(text);
  return lacks ? whole.insert(kMinutes.size(), ":00") : whole;
}

// "10:00" or "10:00:00" on a day.
std::optional<std::int64_t> at_clock(const std::tm& fields, std::string_view clock) {
  if (clock.find(':') == std::string_view::npos) {
    return {};
  }
  return parse_time(with_seconds(
      fmt::format("{:04}-{:02}-{:02} {}", fields.tm_year + 1900, fields.tm_mon + 1, fields.tm_mday, clock)));
}

// "monday", "yesterday 10:00", "2026-11-21"
std::optional<std::int64_t> day(std::string_view text, std::int64_t now, DayBound end) {
  const std::size_t blank = std::min(text.find(' '), text.size());
  std::tm fields = local_fields(now);
  if (const std::optional<int> back = days_back(text.substr(0, blank), fields.tm_wday)) {
    fields.tm_mday -= *back;
    const std::int64_t bound = end_of_day(fields, end);
    return blank == text.size() ? bound : at_clock(local_fields(bound), text.substr(blank + 1));
  }
  // A date is what makes a whole time if a time of day follows it.
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

const Unit* find_unit(std::string_view name) {
  const auto* const unit = std::find_if(kUnits.begin(), kUnits.end(), [name](const Unit& known) {
    const bool plural = name.ends_with('s') && known.name == name.substr(0, name.size() - 1);
    return known.name == name || plural || (!name.empty() && known.short_name == name);
  });
  return unit == kUnits.end() ? nullptr : unit;
}

// "-2h", "2 days ago"
std::optional<std::int64_t> span(std::string_view text, std::int64_t now) {
  constexpr std::string_view kAgo = " ago";
  if (text.starts_with('-') == text.ends_with(kAgo)) {
    return {};
  }
  text.remove_prefix(text.starts_with('-') ? 1 : 0);
  text.remove_suffix(text.ends_with(kAgo) ? kAgo.size() : 0);
  const std::optional<std::int64_t> count = take_count(text);
  text.remove_prefix(text.starts_with(' ') ? 1 : 0);
  const Unit* const unit = find_unit(text);
  return count && unit != nullptr ? before(now, *count, *unit) : std::nullopt;
}

// Seconds since 1970 without "@", if so many digits cannot mean anything else.
std::optional<std::int64_t> bare_seconds(std::string_view text) {
  constexpr std::size_t kFewest = 9;
  return text.size() >= kFewest ? whole_number<std::int64_t>(text) : std::nullopt;
}

}  // namespace

const char* const kWhenForms =
    "A TIME is '2026-11-21', '2026-11-21 10:00', '10:00', 'now', 'today',\n"
    "'yesterday', 'monday', '2 days ago', '1h ago', '-1h' or '@1795255200': local\n"
    "time unless a zone follows ('2026-11-21 10:00:00Z', '+02:00'). A date alone\n"
    "is the whole day, a weekday the latest of that name.\n";

std::optional<std::int64_t> parse_when(std::string_view text, std::int64_t now, DayBound end) {
  if (const auto seconds = parse_time(with_seconds(text))) {
    return seconds;
  }
  std::string words(text);
  std::transform(words.begin(), words.end(), words.begin(), lower);
  if (words == "now") {
    return now;
  }
  for (const auto& seconds :
       {bare_seconds(words), at_clock(local_fields(now), words), day(words, now, end), span(words, now)}) {
    if (seconds) {
      return seconds;
    }
  }
  return {};
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
