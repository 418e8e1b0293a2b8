// The clock on the wall, for the logs whose entries carry local dates and times.
#pragma once

#include <ctime>

namespace annal {

// Now, in local time. As localtime gives it, a changed time zone included, but without the fields that it shares
// between threads.
[[nodiscard]] inline std::tm local_time() noexcept {
  const std::time_t now = std::time(nullptr);
  std::tm fields{};
  tzset();
  localtime_r(&now, &fields);
  return fields;
}

}  // namespace annal
