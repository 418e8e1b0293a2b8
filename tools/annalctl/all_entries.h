// The entries of all logs in one view, by time: "annalctl log".
#pragma once

#include "tools/annalctl/base/cli_types.h"
#include "tools/annalctl/output/session.h"

namespace annalctl {

void add_log_of_all(CLI::App& app, Session& session);

}  // namespace annalctl
