// Commands that belong together: "annalctl LOG …".
#pragma once

#include <CLI/CLI.hpp>
#include <span>
#include <string>

#include "tools/annalctl/base/log.h"
#include "tools/annalctl/output/session.h"

namespace annalctl {

using AddCommand = void (*)(CLI::App& commands, Session& session);

// Commands in the order of their help, which are made when the group is named: the span outlives the parsing.
CLI::App* add_group(CLI::App& app, const std::string& name, const std::string& description,
                    std::span<const AddCommand> commands, Session& session);

// The commands of a log.
CLI::App* add_log_commands(CLI::App& app, Log& log, std::span<const AddCommand> commands, Session& session);

}  // namespace annalctl
