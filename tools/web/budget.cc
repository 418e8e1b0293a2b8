// Compares the process's processor time and the steady clock with their limits.
#include "tools/web/budget.h"

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

bool Budget::spent() const {
  return processor_time() >= processor_ || std::chrono::steady_clock::now() >= wall_;
}

}  // namespace annal_web
