// The logs as the benchmarks see them: how to create and fill each, and what to call on both sides.
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
  const char* lasting;  // the columns that do not depend on the time of the run
  const char* fill;     // ?1: the number of rows
  int (*create)(int limit, int batch);
  int (*add_trigger)(int limit, int batch);
  int (*remove_trigger)();
  // For a log of N rows. A round makes the same call on both sides.
  std::vector<Call> (*calls)(int rows);

  [[nodiscard]] const char* path_of(bool ours) const { return ours ? path : floor_path; }
};

[[nodiscard]] const std::vector<LogUnderTest>& logs();

// Recreates both sides' files with N rows, the newest at a fixed time, and a limit.
void make_log(const LogUnderTest& log, int rows, int limit, int batch);

// Fills one file and leaves it at the library's path.
void fill_log(const LogUnderTest& log, int rows);

void execute(const char* path, const std::string& sql);

// The table's content without the columns that depend on the time.
[[nodiscard]] std::uint64_t contents(const LogUnderTest& log, const char* path);

// The statements that SQLite runs, from either side, during an action.
[[nodiscard]] std::vector<std::string> statements_of(const std::function<void()>& work);

}  // namespace annal::bench
