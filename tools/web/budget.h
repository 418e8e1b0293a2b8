// How much time is left for what a page can do without.
#pragma once

#include <chrono>

namespace annal_web {

class Budget {
 public:
  // Counted from the start of the process: the processor's time, and the wall's.
  Budget(std::chrono::milliseconds processor, std::chrono::milliseconds wall);

  [[nodiscard]] bool spent() const;

 private:
  std::chrono::nanoseconds processor_;
  std::chrono::steady_clock::time_point wall_;
};

}  // namespace annal_web
