// Measures a deadline in processor time.
#include "tools/annalctl/files/work_deadline.h"

#include <ctime>

namespace annalctl {

namespace {

constexpr int kWaitingFactor = 10;

std::chrono::nanoseconds processor_time() {
  timespec used{};
  clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &used);
  return std::chrono::seconds(used.tv_sec) + std::chrono::nanoseconds(used.tv_nsec);
}

}  // namespace

WorkDeadline::WorkDeadline(std::chrono::seconds work)
    : processor_(processor_time() + work), clock_(std::chrono::steady_clock::now() + kWaitingFactor * work) {}

bool WorkDeadline::passed() const {
  return processor_time() >= processor_ || std::chrono::steady_clock::now() >= clock_;
}

}  // namespace annalctl
