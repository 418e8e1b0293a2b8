// The check of all logs at once, "annalctl check".
#pragma once

#include "tools/annalctl/base/cli_types.h"
#include "tools/annalctl/output/session.h"

namespace annalctl {

void add_check_of_all(CLI::App& app, Session& session);

}  // namespace annalctl
