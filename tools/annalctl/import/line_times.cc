// Parses the many forms of time in logs.
#include "tools/annalctl/import/line_times.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <ctime>
#include <vector>

#include "tools/annalctl/arguments/time_text.h"
#include "tools/annalctl/base/printable.h"
#include "tools/annalctl/base/regex.h"
#include "tools/annalctl/base/whole_number.h"

namespace annalctl {

namespace {

constexpr std::array<std::string_view, 12> kMonths{"Jan", "Feb", "Mar", "Apr", "May", "Jun",
                                                   "Jul", "Aug", "Sep", "Oct", "Nov", "Dec"};

// 29 February recurs after at most eight years, across a century that skips it.
constexpr int kYearsBack = 8;

std::optional<int> month_of(std::string_view text) {
  const auto* const found = std::find(kMonths.begin(), kMonths.end(), text.substr(0, 3));
  if (found == kMonths.end()) {
    return {};
  }
  return static_cast<int>(found - kMonths.begin()) + 1;
}

// The day is padded with a blank: "Jun  4".
bool take_day(std::string_view& line, CalendarTime& time) {
  if (line.size() < 4 || line[0] != ' ' || (line[1] != ' ' && !is_digit(line[1])) || !is_digit(line[2])) {
    return false;
  }
  time.day = (line[1] == ' ' ? 0 : line[1] - '0') * 10 + (line[2] - '0');
  line.remove_prefix(3);
  if (line.front() != ' ') {
    return false;
  }
  line.remove_prefix(1);
  return true;
}

bool take_yearless(std::string_view& line, CalendarTime& time) {
  const std::optional<int> month = month_of(line);
  if (!month) {
    return false;
  }
  std::string_view rest = line.substr(3);
  time.month = *month;
  if (!take_day(rest, time) || !take_clock(rest, time)) {
    return false;
  }
  line = rest;
  return true;
}

std::optional<std::int64_t> latest_not_after(std::int64_t now, CalendarTime time) {
  const std::time_t seconds_now = now;
  std::tm fields{};
  localtime_r(&seconds_now, &fields);
  const int this_year = fields.tm_year + 1900;
  for (time.year = this_year; time.year >= this_year - kYearsBack; --time.year) {
    const auto seconds = local_seconds(time);
    if (seconds && *seconds <= now) {
      return seconds;
    }
  }
  return {};
}

// Forms with their fields in another order.
const std::vector<Regex>& orders() {
  static const std::vector<Regex> forms = [] {
    std::vector<Regex> all;
    for (
        const char* form : {
            R"(^(?:\w{3} )?(?P<month>[A-Z][a-z]{2}) (?P<day>[ 0-3]?\d) (?P<clock>\d\d:\d\d:\d\d)(?:\.\d+)? (?P<year>\d{4})$)",
            R"(^(?P<day>\d\d)/(?P<month>[A-Z][a-z]{2})/(?P<year>\d{4}):(?P<clock>\d\d:\d\d:\d\d)(?: (?P<zone>[+-]\d{4}))?$)",
            R"(^(?P<year>\d{4})/(?P<month>\d\d)/(?P<day>\d\d) (?P<clock>\d\d:\d\d:\d\d)$)",
        }) {
      all.emplace_back(form);
    }
    return all;
  }();
  return forms;
}

// Puts the fields into the order of an ISO time.
std::optional<std::int64_t> in_iso_order(const Regex& form, const std::vector<std::string_view>& groups) {
  std::string year;
  std::string month;
  std::string day;
  std::string clock;
  std::string zone;
  for (std::size_t i = 0; i < groups.size(); ++i) {
    const std::string& name = form.names()[i];
    std::string& part = name == "year"    ? year
                        : name == "month" ? month
                        : name == "day"   ? day
                        : name == "clock" ? clock
                                          : zone;
    part = groups[i];
  }
  if (const std::optional<int> number = month_of(month)) {
    month = std::to_string(*number);
  }
  const auto two = [](std::string number) {
    number.erase(0, number.find_first_not_of(' '));
    return number.size() < 2 ? "0" + number : number;
  };
  const std::string iso = year + "-" + two(month) + "-" + two(day) + " " + clock + zone;
  std::string_view rest = iso;
  const std::optional<std::int64_t> seconds = take_iso_time(rest);
  return rest.empty() ? seconds : std::nullopt;
}

// The more digits, the smaller the unit: all begin with this century's seconds.
std::optional<std::int64_t> since_1970(std::string_view text) {
  const std::size_t dot = text.find('.');
  const std::string_view fraction = dot == std::string_view::npos ? std::string_view() : text.substr(dot + 1);
  if (!std::all_of(fraction.begin(), fraction.end(), is_digit)) {
    return {};
  }
  std::optional<std::int64_t> number = whole_number<std::int64_t>(text.substr(0, dot));
  if (!number || !is_digit(text.front())) {
    return {};
  }
  constexpr std::int64_t kMostSeconds = 100'000'000'000;
  constexpr std::int64_t kThousand = 1000;
  while (*number >= kMostSeconds) {
    *number /= kThousand;
  }
  return number;
}

std::optional<std::int64_t> by_format(const std::string& text, const std::string& format, std::int64_t now) {
  const std::time_t seconds_now = now;
  std::tm fields{};
  localtime_r(&seconds_now, &fields);
  fields.tm_hour = fields.tm_min = fields.tm_sec = 0;
  fields.tm_gmtoff = 0;
  fields.tm_isdst = -1;
  const char* const end = strptime(text.c_str(), format.c_str(), &fields);
  if (end == nullptr || *end != '\0') {
    return {};
  }
  if (format.find("%s") != std::string::npos) {
    return std::mktime(&fields);
  }
  if (format.find("%z") != std::string::npos) {
    const std::int64_t zone = fields.tm_gmtoff;
    return timegm(&fields) - zone;
  }
  fields.tm_isdst = -1;
  return std::mktime(&fields);
}

}  // namespace

bool begins_with_month(std::string_view text) {
  CalendarTime time{};
  return take_yearless(text, time);
}

std::optional<std::int64_t> take_yearless_time(std::string_view& text, std::int64_t now) {
  std::string_view rest = text;
  CalendarTime time{};
  if (!take_yearless(rest, time)) {
    return {};
  }
  const std::optional<std::int64_t> seconds = latest_not_after(now, time);
  text = seconds ? rest : text;
  return seconds;
}

std::optional<std::int64_t> line_time(std::string_view text, std::int64_t now, const std::string& format) {
  if (!format.empty()) {
    return by_format(std::string(text), format, now);
  }
  if (const std::optional<std::int64_t> seconds = parse_time(text)) {
    return seconds;
  }
  std::string_view rest = text;
  if (const std::optional<std::int64_t> seconds = take_yearless_time(rest, now); seconds && rest.empty()) {
    return seconds;
  }
  std::vector<std::string_view> groups;
  for (const Regex& form : orders()) {
    if (form.find_groups(text, groups)) {
      return in_iso_order(form, groups);
    }
  }
  return since_1970(text);
}

}  // namespace annalctl
