// The commands of the connection log: "annalctl conn …".
#pragma once

#include <CLI/CLI.hpp>

#include "tools/annalctl/program.h"

namespace annalctl {

void add_conn_commands(CLI::App& app, Program& program);

namespace conn {

void add_create(CLI::App& commands, Program& program);
void add_add(CLI::App& commands, Program& program);
void add_list(CLI::App& commands, Program& program);
void add_count(CLI::App& commands, Program& program);
void add_group(CLI::App& commands, Program& program);
void add_delete(CLI::App& commands, Program& program);
void add_trim(CLI::App& commands, Program& program);
void add_flush(CLI::App& commands, Program& program);
void add_migrate(CLI::App& commands, Program& program);
void add_import(CLI::App& commands, Program& program);
void add_tail(CLI::App& commands, Program& program);
void add_check(CLI::App& commands, Program& program);
void add_salvage(CLI::App& commands, Program& program);

}  // namespace conn

}  // namespace annalctl
