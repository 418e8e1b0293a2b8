#include "tools/group.h"

#include <fmt/format.h>

namespace annalctl {

CLI::App* add_group(CLI::App& app, const std::string& name, const std::string& description,
                    std::span<const AddCommand> commands, Program& program) {
  CLI::App* const group = app.add_subcommand(name, description);
  group->fallthrough();
  group->require_subcommand(1);
  // Setting up the commands of every group takes longer than most commands run.
  group->preparse_callback([group, commands, &program](std::size_t /*arguments*/) {
    for (const AddCommand add : commands) {
      add(*group, program);
    }
    // The general options may stand behind any command too.
    for (CLI::App* command : group->get_subcommands({})) {
      command->fallthrough();
    }
  });
  return group;
}

CLI::App* add_log_commands(CLI::App& app, const Log& log, std::span<const AddCommand> commands, Program& program) {
  return add_group(app, log.name, fmt::format("The {} log, {}", log.name, log.path), commands, program);
}

}  // namespace annalctl
