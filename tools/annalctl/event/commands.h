// The commands of the event log: "annalctl event …".
#pragma once

#include <CLI/CLI.hpp>

#include "tools/annalctl/program.h"

namespace annalctl {

void add_event_commands(CLI::App& app, Program& program);

namespace event {

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

}  // namespace event

}  // namespace annalctl
