// The clock that the library reads, which a test can stop at a moment.
#pragma once

#include <ctime>

namespace annal::test {

class Clock {
 public:
  static void stop_at(std::time_t moment);
  static void run();
};

}  // namespace annal::test
