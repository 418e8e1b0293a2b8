// "annalctl LOG redact".
#pragma once

#include <span>

#include "tools/annalctl/base/cli_types.h"
#include "tools/annalctl/output/session.h"
#include "tools/annalctl/query/query_commands.h"

namespace annalctl {

// personal: the columns that have something about a person. The command keeps both.
void add_redact_command(CLI::App& commands, Session& session, const QueryCommands& queries,
                        std::span<const char* const> personal);

}  // namespace annalctl
