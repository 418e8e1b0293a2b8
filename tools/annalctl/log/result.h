// Turns result codes into sentences that say what to do.
#pragma once

#include <string>

#include "tools/annalctl/base/log.h"

namespace annalctl {

// What a code says by itself, without a look at the log.
[[nodiscard]] std::string code_text(int code);

// Opening a missing log would leave an empty file, so every command but its creation checks first. Prints the reason if
// the result is false.
[[nodiscard]] bool check_log_exists(const Log& log);

// Why a call failed, and what to do. seen: the cause that the caller knows, used if none is found here.
[[nodiscard]] std::string failure_text(const Call& call, int code, const std::string& seen = {});

// Prints why a call failed, unless it succeeded, and returns the exit status.
[[nodiscard]] int report(const Call& call, int code, const std::string& seen = {});

}  // namespace annalctl
