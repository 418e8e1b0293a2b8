// Returns the room of deleted entries to the file system: "annalctl LOG compact".
#pragma once

#include "tools/annalctl/base/cli_types.h"
#include "tools/annalctl/base/log.h"
#include "tools/annalctl/output/session.h"

namespace annalctl {

void add_compact_command(CLI::App& commands, Session& session, const Log& log);

}  // namespace annalctl
