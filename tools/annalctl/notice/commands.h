// The commands of the notice log, "annalctl notice …", of the facilities that notices come from, and of the device's
// notification command.
#pragma once

#include <CLI/CLI.hpp>

#include "tools/annalctl/program.h"

namespace annalctl {

void add_notice_commands(CLI::App& app, Program& program);
void add_facilities(CLI::App& app, Program& program);
void add_notify(CLI::App& app, Program& program);

namespace notice {

void add_create(CLI::App& commands, Program& program);
void add_add(CLI::App& commands, Program& program);
void add_list(CLI::App& commands, Program& program);
void add_tail(CLI::App& commands, Program& program);
void add_check(CLI::App& commands, Program& program);
void add_salvage(CLI::App& commands, Program& program);
void add_count(CLI::App& commands, Program& program);
void add_group(CLI::App& commands, Program& program);
void add_delete(CLI::App& commands, Program& program);
void add_age(CLI::App& commands, Program& program);
void add_flush(CLI::App& commands, Program& program);
void add_migrate(CLI::App& commands, Program& program);

}  // namespace notice

}  // namespace annalctl
