// Converts dates, times of day and moments to wall-clock seconds, and those to text; rejects dates that do not exist.
#include "tools/web/wall_clock.h"

#include <fmt/format.h>

#include <chrono>
#include <ctime>

#include "tools/annalctl/base/printable.h"

namespace annal_web {

namespace {

constexpr std::int64_t kMinute = 60;
constexpr std::int64_t kHour = 60 * kMinute;
constexpr std::int64_t kDay = 24 * kHour;

constexpr int kNoNumber = 1000000;

int number_at(std::string_view text, std::size_t place, std::size_t digits) {
  int number = 0;
  for (const char c : text.substr(place, digits)) {
    number = annalctl::is_digit(c) ? number * 10 + (c - '0') : kNoNumber;
  }
  return number;
}

std::int64_t day_of(std::string_view date) {
  constexpr std::string_view kForm = "2026-11-21";
  if (date.size() != kForm.size() || date[4] != '-' || date[7] != '-') {
    return kNoTime;
  }
  const int year = number_at(date, 0, 4);
  const int month = number_at(date, 5, 2);
  const int number = number_at(date, 8, 2);
  constexpr int kMostMonths = 12;
  constexpr int kMostDays = 31;
  if (year >= kNoNumber || month > kMostMonths || number > kMostDays) {
    return kNoTime;
  }
  const std::chrono::year_month_day day(std::chrono::year(year), std::chrono::month(static_cast<unsigned>(month)),
                                        std::chrono::day(static_cast<unsigned>(number)));
  return day.ok() ? std::chrono::sys_days(day).time_since_epoch().count() : kNoTime;
}

}  // namespace

std::int64_t seconds_of_day(std::string_view time) {
  constexpr std::string_view kForm = "10:00:00";
  if (time.size() != kForm.size() || time[2] != ':' || time[5] != ':') {
    return -1;
  }
  const int hour = number_at(time, 0, 2);
  const int minute = number_at(time, 3, 2);
  const int second = number_at(time, 6, 2);
  constexpr int kMostHours = 23;
  constexpr int kMostMinutes = 59;
  constexpr int kMostSeconds = 60;  // a leap second
  const bool known = hour <= kMostHours && minute <= kMostMinutes && second <= kMostSeconds;
  return known ? hour * kHour + minute * kMinute + second : -1;
}

std::int64_t wall_seconds(std::string_view date, std::string_view time) {
  const std::int64_t day = day_of(date);
  const std::int64_t seconds = seconds_of_day(time);
  return day == kNoTime || seconds < 0 ? kNoTime : day * kDay + seconds;
}

std::int64_t wall_seconds(std::int64_t moment) {
  constexpr std::int64_t kLastOfYear9999 = 253402300799;
  if (moment < 0 || moment > kLastOfYear9999) {
    return kNoTime;
  }
  const std::time_t time = moment;
  std::tm fields{};
  return localtime_r(&time, &fields) == nullptr ? kNoTime : moment + fields.tm_gmtoff;
}

std::string wall_text(std::int64_t wall) {
  if (wall == kNoTime) {
    return {};
  }
  const std::chrono::sys_seconds moment{std::chrono::seconds(wall)};
  const auto day = std::chrono::floor<std::chrono::days>(moment);
  const std::chrono::year_month_day date(day);
  const std::int64_t rest = (moment - day).count();
  return fmt::format("{:04}-{:02}-{:02} {:02}:{:02}:{:02}", static_cast<int>(date.year()),
                     static_cast<unsigned>(date.month()), static_cast<unsigned>(date.day()), rest / kHour,
                     rest % kHour / kMinute, rest % kMinute);
}

}  // namespace annal_web
