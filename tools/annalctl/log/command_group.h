// Groups of commands: "annalctl LOG …".
#pragma once

#include <functional>
#include <string>

#include "tools/annalctl/base/cli_types.h"
#include "tools/annalctl/base/log.h"
#include "tools/annalctl/output/session.h"

namespace annalctl {

// Adds a group's commands, in the order of its help. Called when the command line names the group.
using MakeCommands = std::function<void(CLI::App& group)>;

CLI::App* add_group(CLI::App& app, const std::string& name, const std::string& description, MakeCommands make);

// The same for the commands of a log.
CLI::App* add_log_group(CLI::App& app, Session& session, Log& log, MakeCommands make);

}  // namespace annalctl
