// Records the library's SQLite calls and fails them on request. The library is the shipped one: the dynamic linker
// finds these functions before libsqlite3's.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace annal::test {

using Calls = std::vector<std::string>;

class SqliteTrace {
 public:
  // Every call since the last reset, in order, one text each:
  //   "open PATH", "busy_timeout MILLISECONDS", "busy_handler", "sleep MILLISECONDS", "exec SQL", "prepare SQL",
  //   "finalize", "close"
  static const Calls& calls();

  // The texts of the "exec" and "prepare" calls.
  static Calls statements();

  // The SQLite memory that the library has not freed.
  static std::size_t open_connections();
  static std::size_t live_statements();
  static std::size_t live_texts();

  // Makes the nth next call of a function fail: "open" (with a handle to close, as SQLite does), "exec" and "prepare"
  // (SQLITE_ERROR), "bind" (SQLITE_NOMEM), "step" (SQLITE_IOERR) or "mprintf" (a null text).
  static void fail(std::string_view function, int nth = 1);

  // Makes the next N "exec" or "prepare" calls whose text has this prefix fail with SQLITE_ERROR.
  static void fail_first(int calls, std::string_view beginning);

  // Replaces the next number that the library reads from a row. A count of more than 2,147,483,647 rows is negative.
  static void answer_next(int number);

  // From now on calls() includes the work with prepared statements:
  //   "bind PLACE NUMBER", "bind PLACE "TEXT"", "step", "reset"
  // with " (copied)" or " (of another length)" after a text that SQLite copies or does not read whole.
  static void follow_statements();

  // Caps waits for locks. The trace still shows the time that the library asks for.
  static void shorten_waits(int milliseconds);

  static void reset();
};

}  // namespace annal::test
