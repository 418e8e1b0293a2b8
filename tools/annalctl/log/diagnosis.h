// Finds out by looking why a call failed: the library's code does not tell. Only what was seen is claimed.
#pragma once

#include <optional>
#include <string>

#include "tools/annalctl/base/log.h"

namespace annalctl {

// What stands in the way of opening the log's file, or nothing. Opens no database and creates nothing.
[[nodiscard]] std::optional<std::string> file_obstacle(const Log& log, Purpose purpose);

// Whether the file begins as a database does, or is empty, which is one without tables.
[[nodiscard]] bool begins_as_database(const char* path);

// Why a statement failed on a file that can be opened, or nothing when no cause was found.
[[nodiscard]] std::optional<std::string> statement_obstacle(const Call& call, int code);

// What SQLite's code of a failure says about the log, with what helps; nothing for a code that says nothing by itself.
[[nodiscard]] std::optional<std::string> reason_of(const Log& log, int sqlite_code);

// Whether the table has exactly this release's columns. Waits for a lock.
[[nodiscard]] bool layout_is_current(const Log& log);

}  // namespace annalctl
