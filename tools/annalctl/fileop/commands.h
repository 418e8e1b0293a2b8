// The commands of a file-operation log: "annalctl fileop --db FILE …".
#pragma once

#include <CLI/CLI.hpp>

#include "tools/annalctl/program.h"

namespace annalctl {

void add_fileop_commands(CLI::App& app, Program& program);

namespace fileop {

void add_create(CLI::App& commands, Program& program);
void add_add(CLI::App& commands, Program& program);
void add_list(CLI::App& commands, Program& program);
void add_count(CLI::App& commands, Program& program);
void add_tail(CLI::App& commands, Program& program);
void add_check(CLI::App& commands, Program& program);
void add_salvage(CLI::App& commands, Program& program);
void add_delete(CLI::App& commands, Program& program);
void add_flush(CLI::App& commands, Program& program);
void add_import(CLI::App& commands, Program& program);

}  // namespace fileop

}  // namespace annalctl
