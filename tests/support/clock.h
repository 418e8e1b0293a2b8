// The clock that the library reads. A test can stop it at a given time.
#pragma once

#include <ctime>

namespace annal::test {

class Clock {
 public:
  static void stop_at(std::time_t moment);
  static void run();
};

}  // namespace annal::test
