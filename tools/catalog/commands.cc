#include "tools/catalog/commands.h"

#include "tools/group.h"

namespace annalctl {

void add_catalog_commands(CLI::App& app, Program& program) {
  CLI::App* const group = app.add_subcommand("catalog", "The messages that the appliance's applications log");
  group->fallthrough();
  group->require_subcommand(1);
  // In the order of the help.
  for (const AddCommand add : {catalog::add_list, catalog::add_show, catalog::add_search, catalog::add_fill}) {
    add(*group, program);
  }
  for (CLI::App* command : group->get_subcommands({})) {
    command->fallthrough();
  }
}

}  // namespace annalctl
