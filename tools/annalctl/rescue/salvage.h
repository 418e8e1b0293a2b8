// "annalctl … salvage": recreates a damaged log from what can be read of it.
#pragma once

#include "tools/annalctl/base/cli_types.h"
#include "tools/annalctl/base/log.h"
#include "tools/annalctl/output/session.h"

namespace annalctl {

void add_salvage_command(CLI::App& commands, Session& session, const Log& log);

}  // namespace annalctl
