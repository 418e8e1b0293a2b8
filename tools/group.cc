#include "tools/group.h"

#include <fmt/format.h>

namespace annalctl {

CLI::App* add_log_commands(CLI::App& app, const Log& log, std::span<const AddCommand> commands, Program& program) {
  CLI::App* const group = app.add_subcommand(log.name, fmt::format("The {} log, {}", log.name, log.path));
  group->fallthrough();
  group->require_subcommand(1);
  for (const AddCommand add : commands) {
    add(*group, program);
  }
  // The general options may stand behind any command too.
  for (CLI::App* command : group->get_subcommands({})) {
    command->fallthrough();
  }
  return group;
}

}  // namespace annalctl
