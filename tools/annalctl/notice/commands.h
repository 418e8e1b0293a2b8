// The commands of the notice log, "annalctl notice …", of the facilities that notices come from, and of the device's
// notification command.
#pragma once

#include <CLI/CLI.hpp>

#include "tools/annalctl/output/session.h"

namespace annalctl {

void add_notice_commands(CLI::App& app, Session& session);
void add_facilities(CLI::App& app, Session& session);
void add_notify(CLI::App& app, Session& session);

namespace notice {

void add_create(CLI::App& commands, Session& session);
void add_add(CLI::App& commands, Session& session);
void add_list(CLI::App& commands, Session& session);
void add_show(CLI::App& commands, Session& session);
void add_tail(CLI::App& commands, Session& session);
void add_info(CLI::App& commands, Session& session);
void add_limit(CLI::App& commands, Session& session);
void add_keep(CLI::App& commands, Session& session);
void add_compact(CLI::App& commands, Session& session);
void add_check(CLI::App& commands, Session& session);
void add_salvage(CLI::App& commands, Session& session);
void add_count(CLI::App& commands, Session& session);
void add_group(CLI::App& commands, Session& session);
void add_delete(CLI::App& commands, Session& session);
void add_age(CLI::App& commands, Session& session);
void add_flush(CLI::App& commands, Session& session);
void add_migrate(CLI::App& commands, Session& session);
void add_import(CLI::App& commands, Session& session);

}  // namespace notice

}  // namespace annalctl
