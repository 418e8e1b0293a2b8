// What runs at the top: the whole command line, and the whole run.
#pragma once

#include "tools/annalctl/base/cli_types.h"
#include "tools/annalctl/output/session.h"

namespace annalctl {

// Everything that a command line may name. The commands of a group are made when the group is named.
void add_all_commands(CLI::App& app, Session& session);

// Reads the command line, carries it out and returns the exit status.
[[nodiscard]] int run_program(int argc, char** argv);

}  // namespace annalctl
