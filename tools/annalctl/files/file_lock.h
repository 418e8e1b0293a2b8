// Who holds the lock that keeps a call out of a log.
#pragma once

#include <sys/types.h>

#include <optional>
#include <string>

namespace annalctl {

// Names the process that holds a lock on the database file which a reader, or a writer, cannot pass.
[[nodiscard]] std::optional<std::string> lock_holder(const char* path, bool writing);

// "process 1234 (name)"
[[nodiscard]] std::string process_name(pid_t process);

}  // namespace annalctl
