// When work on a file must end that whoever made the file can make arbitrarily long.
#pragma once

#include <chrono>

namespace annalctl {

// Counts processor time, so that a busy machine does not shorten the work. Waiting, as for a slow disk, counts a tenth.
class WorkDeadline {
 public:
  explicit WorkDeadline(std::chrono::seconds work);

  [[nodiscard]] bool passed() const;

 private:
  std::chrono::nanoseconds processor_;  // of this process
  std::chrono::steady_clock::time_point clock_;
};

}  // namespace annalctl
