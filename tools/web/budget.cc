// Compares the process's processor time and the steady clock with their limits.
#include "tools/web/budget.h"

#include <algorithm>
#include <cstdint>
#include <ctime>

namespace annal_web {

namespace {

std::chrono::nanoseconds processor_time() {
  timespec used{};
  clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &used);
  return std::chrono::seconds(used.tv_sec) + std::chrono::nanoseconds(used.tv_nsec);
}

}  // namespace

Budget::Budget(std::chrono::milliseconds processor, std::chrono::milliseconds wall)
    : processor_(processor), wall_(std::chrono::steady_clock::now() + wall) {}

std::chrono::milliseconds Budget::time_of_pass(std::size_t waiting) {
  constexpr std::chrono::milliseconds kAlone{1500};
  constexpr std::chrono::milliseconds kForAll{2000};
  constexpr std::chrono::milliseconds kLeast{30};
  return std::clamp(kForAll / static_cast<std::int64_t>(waiting + 1), kLeast, kAlone);
}

Budget Budget::of_pass(std::size_t waiting) {
  constexpr std::chrono::milliseconds kProcessor{1200};
  return {kProcessor, time_of_pass(waiting)};
}

bool Budget::spent() const {
  return processor_time() >= processor_ || std::chrono::steady_clock::now() >= wall_;
}

}  // namespace annal_web
