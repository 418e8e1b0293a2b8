// The check of one log, "annalctl LOG check".
#pragma once

#include "tools/annalctl/base/cli_types.h"
#include "tools/annalctl/base/log.h"
#include "tools/annalctl/output/session.h"

namespace annalctl {

void add_check_command(CLI::App& commands, Session& session, const Log& log);

// Reports on a log, and returns whether it is sound. Each log may need different rights.
[[nodiscard]] bool check_with_its_rights(const Log& log, Session& session);

// The help's promise; a format, for "the log is".
extern const char* const kCheckPromise;

}  // namespace annalctl
