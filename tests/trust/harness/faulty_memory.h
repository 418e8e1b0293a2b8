// Makes allocations fail on request: SQLite's through its own hooks, all others through this program's own malloc.
// Together they see every allocation of a call.
#pragma once

#include <cstddef>

#include "tests/trust/harness/countdown.h"

namespace annal::test {

// SQLite's allocations, including the library's texts.
class SqliteMemory {
 public:
  static void install();  // before any other call to SQLite
  static Countdown& countdown();
  static std::size_t outstanding();  // allocations that have not been freed
};

// Allocations by the library, the platform's libraries and libc. The test's own code never fails, not even in a
// callback of the library. With a sanitizer's malloc this sees nothing.
class PlainMemory {
 public:
  static bool interposed();
  static void watch(bool on);  // counts allocations while on, and may fail them
  static Countdown& countdown();
  static std::size_t outstanding();  // of the allocations made while watched
};

}  // namespace annal::test
