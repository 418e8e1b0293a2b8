#include "tools/event/commands.h"

namespace annalctl {

namespace {

using AddCommand = void (*)(CLI::App& commands, Program& program);

// In the order of the help.
constexpr AddCommand kCommands[] = {
    event::add_create, event::add_add,  event::add_list,  event::add_count,   event::add_group,
    event::add_delete, event::add_trim, event::add_flush, event::add_migrate, event::add_import,
};

}  // namespace

void add_event_commands(CLI::App& app, Program& program) {
  CLI::App* const commands = app.add_subcommand("event", "The event log, /etc/logs/event.log");
  commands->fallthrough();
  commands->require_subcommand(1);
  for (const AddCommand add : kCommands) {
    add(*commands, program);
  }
  // The general options may stand behind any command too.
  for (CLI::App* command : commands->get_subcommands({})) {
    command->fallthrough();
  }
}

}  // namespace annalctl
