// What a log may decide about one of its statements. There are no defaults: a log answers every question, so that the
// places where the logs differ on purpose stand side by side as data.
#pragma once

#include "Corix_annal.h"

namespace annal {

// What happens when another process holds the file.
enum class Wait {
  kNever,        // the statement fails at once
  kBusyTimeout,  // SQLite retries for 20 seconds
  kBusyHandler,  // we retry 50 times, 100 milliseconds apart
};

struct Statement {
  const char* sql;       // the statement itself, or the format it is built from
  Wait wait;             // for a file that is locked
  annal_result failure;  // what the caller is told when the statement fails
};

}  // namespace annal
