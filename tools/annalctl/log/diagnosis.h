// Looks for the reason of a failed call, which the library's code does not tell. Claims only what it has seen.
#pragma once

#include <optional>
#include <string>

#include "tools/annalctl/base/log.h"

namespace annalctl {

// What prevents opening the log's file, or nothing. Opens no database and creates nothing.
[[nodiscard]] std::optional<std::string> file_obstacle(const Log& log, Purpose purpose);

// Whether the file begins like a database, or is empty, which means a database without tables.
[[nodiscard]] bool begins_as_database(const char* path);

// Why a statement failed on a file that can be opened, or nothing if no cause was found.
[[nodiscard]] std::optional<std::string> statement_obstacle(const Call& call, int code);

// What SQLite's error code says about the log, and what helps; nothing for a code that says nothing by itself.
[[nodiscard]] std::optional<std::string> reason_of(const Log& log, int sqlite_code);

// Whether the table has exactly this release's columns. Waits for a lock.
[[nodiscard]] bool layout_is_current(const Log& log);

}  // namespace annalctl
