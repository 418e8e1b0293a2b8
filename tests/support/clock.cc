// Replaces the C library's clock for calls from the library.
#include "tests/support/clock.h"

#include <atomic>

#include "tests/support/from_library.h"

namespace annal::test {

namespace {

constexpr std::time_t kRunning = -1;
std::atomic<std::time_t> stopped_at = kRunning;

}  // namespace

void Clock::stop_at(std::time_t moment) {
  stopped_at = moment;
}

void Clock::run() {
  stopped_at = kRunning;
}

}  // namespace annal::test

extern "C" std::time_t time(std::time_t* out) noexcept {
  std::timespec now{};
  clock_gettime(CLOCK_REALTIME, &now);
  const std::time_t stopped = annal::test::stopped_at;
  const bool real = stopped == annal::test::kRunning || !CALLED_BY_LIBRARY();
  const std::time_t moment = real ? now.tv_sec : stopped;
  if (out != nullptr) {
    *out = moment;
  }
  return moment;
}
