// What the commands need to know about a log, whichever it is.
#pragma once

#include <chrono>
#include <cstddef>
#include <span>
#include <string>

namespace annalctl {

struct Column {
  const char* name;
  bool integer;
  // The SQL value of entries that are older than the column; null for columns of the earliest release.
  const char* older = nullptr;
};

struct Log {
  const char* name;     // as in "annalctl NAME list"
  const char* entries;  // what it is a log of, for people
  const char* path;
  const char* table;
  std::span<const Column> columns;  // the current layout, which is also the order of a listing
  std::size_t earliest_columns;     // how many of them the earliest release had
  const char* id;                   // the columns that every log has under some name
  const char* level;
  const char* date;
  const char* time;                     // null: the date's column has seconds since 1970
  std::span<const char* const> levels;  // by their numbers
  int usual_limit;                      // of entries: the library's own, for a limit of 0
  int (*count)() noexcept;              // of all entries; a negative number is a result code
  // Creates the log in the database to which blueprint_of redirects every path.
  int (*create_redirected)(int limit, int batch) noexcept;
  // Calls of the library that add, count and list entries. Only for statements_of, which redirects every database and
  // stores no entry: the library forwards a stored entry to other programs.
  std::span<int (*const)() noexcept> uses;
  const char* options = "";  // the options that its commands need, after a blank, for messages
  bool migrates = true;      // it has the command
};

enum class Purpose {
  kCreating,
  kReading,
  kWriting,
  kMigrating,
};

// A call of the library, for the message about its failure.
struct Call {
  const Log& log;
  std::string doing;  // completes "cannot …"
  Purpose purpose;
  std::chrono::steady_clock::time_point begun = std::chrono::steady_clock::now();
};

}  // namespace annalctl
