// From result codes to sentences that say what to do.
#pragma once

#include <string>

#include "tools/annalctl/base/log.h"

namespace annalctl {

// What a code says by itself, without a look at the log.
[[nodiscard]] std::string code_text(int code);

// Opening a log that is not there would leave an empty file behind, so everything but its creation looks first. Prints
// the reason when the answer is false.
[[nodiscard]] bool check_log_exists(const Log& log);

// Why a call failed, and what to do. seen: what its caller knows of the cause, for when none is found here.
[[nodiscard]] std::string failure_text(const Call& call, int code, const std::string& seen = {});

// Prints what became of a call, unless it is a success, and returns the exit status.
[[nodiscard]] int report(const Call& call, int code, const std::string& seen = {});

}  // namespace annalctl
