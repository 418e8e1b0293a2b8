// What the library asks of SQLite, call by call, and calls that fail on request. The library is the shipped one: these
// functions stand in front of libsqlite3's for the dynamic linker.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace annal::test {

using Calls = std::vector<std::string>;

class SqliteTrace {
 public:
  // Every call since the last reset, in order, each as one text:
  //   "open PATH", "busy_timeout MILLISECONDS", "busy_handler", "sleep MILLISECONDS", "exec SQL", "prepare SQL",
  //   "finalize", "close"
  static const Calls& calls();

  // The texts of the "exec" and "prepare" calls alone.
  static Calls statements();

  // How much the library has taken from SQLite and not given back.
  static std::size_t open_connections();
  static std::size_t live_statements();
  static std::size_t live_texts();

  // Makes the nth next call of a function fail: "open" (with a handle to close, as SQLite does), "exec" and "prepare"
  // (SQLITE_ERROR), "bind" (SQLITE_NOMEM), "step" (SQLITE_IOERR) or "mprintf" (a null text).
  static void fail(std::string_view function, int nth = 1);

  // Makes the next calls of which the text begins so fail, as many as said, with SQLITE_ERROR: "exec" and "prepare".
  static void fail_first(int calls, std::string_view beginning);

  // The next number that the library reads of a row is this one. Of more than 2,147,483,647 rows it is a negative one.
  static void answer_next(int number);

  // From now on calls() has the work with prepared statements too:
  //   "bind PLACE NUMBER", "bind PLACE "TEXT"", "step", "reset"
  // with " (copied)" or " (of another length)" behind a text that SQLite is not to read where it stands, or not whole.
  static void follow_statements();

  // Locks are waited for this long only, whatever the library asks for, and is still recorded as asking for.
  static void shorten_waits(int milliseconds);

  static void reset();
};

}  // namespace annal::test
