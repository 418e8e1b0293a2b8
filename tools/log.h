// What the commands need to know about a log, whichever it is.
#pragma once

#include <chrono>
#include <span>

namespace annalctl {

struct Column {
  const char* name;
  bool integer;
};

struct Log {
  const char* name;  // as in "annalctl NAME list"
  const char* path;
  const char* table;
  std::span<const Column> columns;  // the current layout, which is also the order of a listing
  int (*count)(unsigned type) noexcept;
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
  const char* doing;  // completes "cannot …"
  Purpose purpose;
  std::chrono::steady_clock::time_point begun = std::chrono::steady_clock::now();
};

}  // namespace annalctl
