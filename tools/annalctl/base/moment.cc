// Formats points of time.
#include "tools/annalctl/base/moment.h"

#include <fmt/format.h>

#include <cstdlib>
#include <ctime>

namespace annalctl {

namespace {

std::optional<std::tm> fields_of(std::int64_t seconds, Zone zone) {
  const std::time_t moment = seconds;
  std::tm fields{};
  const bool known = (zone == Zone::kUtc ? gmtime_r(&moment, &fields) : localtime_r(&moment, &fields)) != nullptr;
  constexpr int kFirstYear = 1900;
  constexpr int kLastYear = 9999;
  const bool four_digits = fields.tm_year >= -kFirstYear && fields.tm_year <= kLastYear - kFirstYear;
  return known && four_digits ? std::optional(fields) : std::nullopt;
}

std::string text_of(const std::tm& fields, char between) {
  return fmt::format("{:04}-{:02}-{:02}{}{:02}:{:02}:{:02}", fields.tm_year + 1900, fields.tm_mon + 1, fields.tm_mday,
                     between, fields.tm_hour, fields.tm_min, fields.tm_sec);
}

}  // namespace

std::optional<std::string> iso_text(std::int64_t seconds, Zone zone) {
  const std::optional<std::tm> fields = fields_of(seconds, zone);
  if (!fields) {
    return {};
  }
  const std::string text = text_of(*fields, 'T');
  if (zone == Zone::kUtc) {
    return text + "Z";
  }
  constexpr long kMinute = 60;
  const long minutes = std::labs(fields->tm_gmtoff) / kMinute;
  return fmt::format("{}{}{:02}:{:02}", text, fields->tm_gmtoff < 0 ? '-' : '+', minutes / kMinute, minutes % kMinute);
}

std::optional<std::string> plain_text(std::int64_t seconds, Zone zone) {
  const std::optional<std::tm> fields = fields_of(seconds, zone);
  return fields ? std::optional(text_of(*fields, ' ')) : std::nullopt;
}

}  // namespace annalctl
