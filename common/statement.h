// What a log decides about each of its statements. There are no defaults: each log answers every question, so the
// deliberate differences between the logs are visible as data.
#pragma once

#include "Corix_annal.h"

namespace annal {

// What to do if another process has locked the file.
enum class Wait {
  kNever,        // the statement fails at once
  kBusyTimeout,  // SQLite retries for 20 seconds
  kBusyHandler,  // we retry 50 times, 100 milliseconds apart
};

struct Statement {
  const char* sql;       // the statement itself, or the format it is built from
  Wait wait;             // if the file is locked
  annal_result failure;  // the caller's result code if the statement fails
};

}  // namespace annal
