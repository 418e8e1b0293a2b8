// Changes the row limit of a log that is there already: "annalctl LOG limit".
#pragma once

#include <CLI/CLI.hpp>

#include "tools/annalctl/base/log.h"
#include "tools/annalctl/output/session.h"

namespace annalctl {

void add_limit_command(CLI::App& commands, Session& session, const Log& log);

}  // namespace annalctl
