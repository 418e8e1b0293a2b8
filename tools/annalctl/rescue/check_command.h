// The check of one log, "annalctl LOG check".
#pragma once

#include <CLI/CLI.hpp>

#include "tools/annalctl/base/log.h"
#include "tools/annalctl/output/session.h"

namespace annalctl {

void add_check_command(CLI::App& commands, Session& session, const Log& log);

// Writes what there is to tell of a log, and returns whether it is sound. Each log may need other rights than the next.
[[nodiscard]] bool check_with_its_rights(const Log& log, Session& session);

// What the help says of a check; it is a format, for "the log is".
extern const char* const kCheckPromise;

}  // namespace annalctl
