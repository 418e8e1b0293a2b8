// The commands of the message catalog, "annalctl catalog …".
#pragma once

#include <CLI/CLI.hpp>

#include "tools/annalctl/program.h"

namespace annalctl {

void add_catalog_commands(CLI::App& app, Program& program);

namespace catalog {

void add_list(CLI::App& commands, Program& program);
void add_show(CLI::App& commands, Program& program);
void add_search(CLI::App& commands, Program& program);
void add_fill(CLI::App& commands, Program& program);

}  // namespace catalog

}  // namespace annalctl
