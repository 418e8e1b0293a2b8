// Changes the row limit of an existing log: "annalctl LOG limit".
#pragma once

#include "tools/annalctl/base/cli_types.h"
#include "tools/annalctl/base/log.h"
#include "tools/annalctl/output/session.h"

namespace annalctl {

void add_limit_command(CLI::App& commands, Session& session, const Log& log);

}  // namespace annalctl
