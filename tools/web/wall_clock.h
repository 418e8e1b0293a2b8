// Times as a clock on the appliance's wall shows them, counted in seconds: the logs have them as local date and time,
// and so they are compared, counted and asked for, whatever the zone was.
#pragma once

#include <cstdint>
#include <limits>
#include <optional>
#include <string>
#include <string_view>

namespace annal_web {

// Of an entry whose time cannot be read.
constexpr std::int64_t kNoTime = std::numeric_limits<std::int64_t>::min();

// "2026-11-21" and "10:00:00"
[[nodiscard]] std::int64_t wall_seconds(std::string_view date, std::string_view time);
// Of "10:00:00"; negative for what is no time of day.
[[nodiscard]] std::int64_t seconds_of_day(std::string_view time);
// Seconds since 1970 in the appliance's zone.
[[nodiscard]] std::int64_t wall_seconds(std::int64_t moment);

// "2026-11-21 10:00:00"; empty for no time.
[[nodiscard]] std::string wall_text(std::int64_t wall);

}  // namespace annal_web
