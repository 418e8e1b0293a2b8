// Whether a log is sound, found out without changing anything.
#pragma once

#include "tools/annalctl/base/log.h"
#include "tools/annalctl/rescue/finding.h"

namespace annalctl {

// Opens the file read-only and creates nothing. Waits a few seconds for a lock; writers wait until it is done.
[[nodiscard]] Inspection inspect(const Log& log);

// How long inspecting and salvaging wait for a lock.
constexpr int kLockWaitMilliseconds = 5000;

}  // namespace annalctl
