// The commands of the event log: "annalctl event …".
#pragma once

#include "tools/annalctl/base/cli_types.h"
#include "tools/annalctl/commands/log_commands.h"
#include "tools/annalctl/maintenance/delete_command.h"
#include "tools/annalctl/output/session.h"

namespace annalctl::event {

extern const LogCommands kCommands;
extern const DeleteCommand kDeletion;

void add_add(CLI::App& commands, Session& session);
void add_import(CLI::App& commands, Session& session);

}  // namespace annalctl::event
