// "annalctl check", and the check of each log.
#pragma once

#include <CLI/CLI.hpp>

#include "tools/annalctl/base/log.h"
#include "tools/annalctl/program.h"

namespace annalctl {

void add_check_command(CLI::App& commands, Program& program, const Log& log);

// All logs at once.
void add_check_of_all(CLI::App& app, Program& program);

}  // namespace annalctl
