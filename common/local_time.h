// Local time, for the logs whose entries carry local dates and times.
#pragma once

#include <ctime>

namespace annal {

// The current local time. Like localtime it notices a change of time zone, but it shares no buffer between threads.
[[nodiscard]] inline std::tm local_time() noexcept {
  const std::time_t now = std::time(nullptr);
  std::tm fields{};
  tzset();
  localtime_r(&now, &fields);
  return fields;
}

}  // namespace annal
