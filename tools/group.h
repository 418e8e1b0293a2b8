// Commands that belong together: "annalctl LOG …".
#pragma once

#include <CLI/CLI.hpp>
#include <span>

#include "tools/log.h"
#include "tools/program.h"

namespace annalctl {

using AddCommand = void (*)(CLI::App& commands, Program& program);

// The commands of a log, in the order of its help, and what they have in common.
CLI::App* add_log_commands(CLI::App& app, const Log& log, std::span<const AddCommand> commands, Program& program);

}  // namespace annalctl
