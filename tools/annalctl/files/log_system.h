// The files of logs as SQLite sees them in this process: where they are, whether they may be changed, and which process
// locks them. The library opens its logs by fixed paths and waits by itself, so this works below SQLite.
#pragma once

#include <optional>
#include <string>

namespace annalctl {

// From now on SQLite opens files through this, at first each by its own name. Call it before opening a database.
void install_log_system();

// From now on opening the first path opens the file at the second.
void lead_log(const std::string& from, const std::string& to);

// From now on opens every database file read-only. Creates nothing beside it, and does not roll back an interrupted
// change.
void read_logs_only();
[[nodiscard]] bool logs_are_read_only();

// The process that locks a file, as the kernel lists it. Opens nothing, so it may be called while a log is open:
// closing a descriptor of a log drops the locks on it.
[[nodiscard]] std::optional<std::string> listed_lock_holder(const std::string& path);

}  // namespace annalctl
