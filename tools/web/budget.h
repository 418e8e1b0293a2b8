// How much time is left for what a page can do without.
#pragma once

#include <chrono>
#include <cstddef>

namespace annal_web {

class Budget {
 public:
  // Counted from the start of the process: the processor's time, and the wall's.
  Budget(std::chrono::milliseconds processor, std::chrono::milliseconds wall);

  // Of the pass through the logs, which leaves enough of a page's limits for writing it. The more requests wait, the
  // less each looks at, so that the last of them gets its turn in time.
  [[nodiscard]] static Budget of_pass(std::size_t waiting);
  [[nodiscard]] static std::chrono::milliseconds time_of_pass(std::size_t waiting);

  [[nodiscard]] bool spent() const;

 private:
  std::chrono::nanoseconds processor_;
  std::chrono::steady_clock::time_point wall_;
};

}  // namespace annal_web
