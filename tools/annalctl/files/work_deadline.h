// Limits work on a file whose author could make it arbitrarily long.
#pragma once

#include <chrono>

namespace annalctl {

// Counts processor time, so a busy machine does not shorten the work. Waiting, for a slow disk say, counts a tenth.
class WorkDeadline {
 public:
  explicit WorkDeadline(std::chrono::seconds work);

  [[nodiscard]] bool passed() const;

 private:
  std::chrono::nanoseconds processor_;  // of this process
  std::chrono::steady_clock::time_point clock_;
};

}  // namespace annalctl
