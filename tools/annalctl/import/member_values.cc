// Reads numbers, levels and times from the texts of an object's members.
#include "tools/annalctl/import/member_values.h"

#include <fmt/format.h>

#include <optional>
#include <string>

#include "tools/annalctl/arguments/time_text.h"
#include "tools/annalctl/base/failure.h"
#include "tools/annalctl/base/whole_number.h"
#include "tools/annalctl/log/level.h"

namespace annalctl {

std::int64_t number_from(const Member& member, std::int64_t lowest, std::int64_t highest) {
  const std::optional<std::int64_t> number = whole_number<std::int64_t>(member.text);
  if (!number || *number < lowest || *number > highest) {
    throw Refusal(
        fmt::format("{} is '{}', and not a whole number from {} to {}", member.key, member.text, lowest, highest));
  }
  return *number;
}

unsigned level_from(const Member& member) {
  const std::optional<unsigned> level = code_of(kLevels, member.text);
  if (!level) {
    throw Refusal(fmt::format("{} is '{}', and not one of {} or 0, 1, 2", member.key, member.text, names_of(kLevels)));
  }
  return *level;
}

bool DateAndClock::take(const Member& member) {
  if (member.key == log_.date) {
    date_ = member.text;
  } else if (member.key == log_.time) {
    clock_ = member.text;
  } else {
    return false;
  }
  return true;
}

std::int64_t DateAndClock::seconds() const {
  const std::string joined = fmt::format("{} {}", date_, clock_);
  const std::optional<std::int64_t> seconds = parse_time(joined);
  if (!seconds) {
    throw Refusal(fmt::format("{} and {} are '{}', and not a date and a time", log_.date, log_.time, joined));
  }
  return *seconds;
}

}  // namespace annalctl
