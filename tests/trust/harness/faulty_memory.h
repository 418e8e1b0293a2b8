// Memory that runs out on request: SQLite's, through the hooks it has for that, and everybody else's, by a malloc of
// this program's own. Between them they see every allocation of a call.
#pragma once

#include <cstddef>

#include "tests/trust/harness/countdown.h"

namespace annal::test {

// What SQLite allocates, the library's texts included.
class SqliteMemory {
 public:
  static void install();  // before anything else is asked of SQLite
  static Countdown& countdown();
  static std::size_t outstanding();  // allocations that have not been freed
};

// What the library, the platform's libraries and libc allocate by themselves. The test's own code is left alone, also
// where the library calls it back. The sanitizers bring a malloc of theirs: then nothing is seen here.
class PlainMemory {
 public:
  static bool interposed();
  static void watch(bool on);  // what is allocated meanwhile counts, and may fail
  static Countdown& countdown();
  static std::size_t outstanding();  // of those allocated while watched
};

}  // namespace annal::test
