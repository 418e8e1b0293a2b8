// The commands of the notice log: "annalctl notice …".
#pragma once

#include "tools/annalctl/base/cli_types.h"
#include "tools/annalctl/commands/log_commands.h"
#include "tools/annalctl/maintenance/delete_command.h"
#include "tools/annalctl/output/session.h"

namespace annalctl::notice {

extern const LogCommands kCommands;
extern const DeleteCommand kDeletion;

void add_add(CLI::App& commands, Session& session);
void add_import(CLI::App& commands, Session& session);
void add_age(CLI::App& commands, Session& session);
void add_migrate(CLI::App& commands, Session& session);

}  // namespace annalctl::notice
