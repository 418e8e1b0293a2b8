// The logs as the benchmarks see them: how each is made and filled, and what is called of it on either side.
#pragma once

#include <string>
#include <vector>

#include "bench/measure.h"

namespace annal::bench {

struct Call {
  const char* name;
  bool writes;
  Side ours;
  Side theirs;
};

struct LogUnderTest {
  const char* name;
  const char* path;
  const char* floor_path;  // the floor's own copy
  const char* table;
  const char* lasting;  // the columns that say nothing of when the benchmark ran
  const char* fill;     // ?1: how many rows
  int (*create)(int limit, int batch);
  int (*add_trigger)(int limit, int batch);
  int (*remove_trigger)();
  // On a log that holds so many rows. A round's call does not depend on the side.
  std::vector<Call> (*calls)(int rows);

  [[nodiscard]] const char* path_of(bool ours) const { return ours ? path : floor_path; }
};

[[nodiscard]] const std::vector<LogUnderTest>& logs();

// Both sides' files anew: so many rows, the newest of one fixed moment, and a limit.
void make_log(const LogUnderTest& log, int rows, int limit, int batch);

// One file, filled; the library's own path is left with it.
void fill_log(const LogUnderTest& log, int rows);

void execute(const char* path, const std::string& sql);

// What the table holds, as far as it does not depend on when.
[[nodiscard]] std::uint64_t contents(const LogUnderTest& log, const char* path);

// The statements that SQLite is given, by whomever, while something is done.
[[nodiscard]] std::vector<std::string> statements_of(const std::function<void()>& work);

}  // namespace annal::bench
