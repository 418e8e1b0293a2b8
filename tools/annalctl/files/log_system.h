// The files of logs as SQLite sees them in this process: where they are, whether they may be changed, and who keeps
// them locked. The library opens its logs by fixed paths and waits by itself, so this stands below both.
#pragma once

#include <optional>
#include <string>

namespace annalctl {

// From now on SQLite opens files through this, each where its name says. To be called before a database is opened.
void install_log_system();

// From now on what is opened as the first path is the file at the second.
void lead_log(const std::string& from, const std::string& to);

// From now on every database file is opened for reading alone. Nothing is created beside it, and no change that was cut
// off is undone.
void read_logs_only();
[[nodiscard]] bool logs_are_read_only();

// The process that keeps others out of a file, as the kernel lists it. Opens nothing, so that it may be asked while a
// log is open: closing a descriptor of a log would give up the locks on it.
[[nodiscard]] std::optional<std::string> listed_lock_holder(const std::string& path);

}  // namespace annalctl
