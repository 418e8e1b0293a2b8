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
  // What an entry has that is older than the column, as SQL; a null pointer for columns of the earliest release.
  const char* older = nullptr;
};

struct Log {
  const char* name;     // as in "annalctl NAME list"
  const char* entries;  // what it is a log of, for people
  const char* path;
  const char* table;
  std::span<const Column> columns;  // the current layout, which is also the order of a listing
  std::size_t earliest_columns;     // so many of them had the earliest release
  const char* id;                   // the columns that every log has under some name
  const char* level;
  const char* date;
  const char* time;                     // null: the date's column has seconds since 1970
  std::span<const char* const> levels;  // by their numbers
  int usual_limit;                      // of entries: the library's own, for a limit of 0
  int (*count)() noexcept;              // of all entries; a negative number is a result code
  // Creates the log where blueprint_of has led all databases, whatever is at the log's path.
  int (*create_redirected)(int limit, int batch) noexcept;
  // Calls of the library that add, count and list entries, each with a usual one. Only for statements_of, which has led
  // all databases elsewhere and lets no entry be stored: a stored one goes on to other programs.
  std::span<int (*const)() noexcept> uses;
  const char* options = "";  // what each of its commands needs, a blank in front, for texts that name one
  bool migrates = true;      // there is a command for it
};

enum class Purpose {
  kCreating,
  kReading,
  kWriting,
  kMigrating,
};

// One call of the library, as its failure has to be told.
struct Call {
  const Log& log;
  std::string doing;  // completes "cannot …"
  Purpose purpose;
  std::chrono::steady_clock::time_point begun = std::chrono::steady_clock::now();
};

}  // namespace annalctl
