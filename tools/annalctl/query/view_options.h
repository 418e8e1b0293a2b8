// The options that say how rows are to look, for people above all.
#pragma once

#include "tools/annalctl/base/cli_types.h"
#include "tools/annalctl/output/session.h"

namespace annalctl {

void add_view_options(CLI::App& command, Session& session);

}  // namespace annalctl
