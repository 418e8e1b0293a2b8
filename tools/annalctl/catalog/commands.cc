// The catalog's commands, in the order of the help.
#include "tools/annalctl/catalog/commands.h"

#include "tools/annalctl/log/command_group.h"

namespace annalctl {

namespace {

// In the order of the help.
constexpr AddCommand kCommands[] = {catalog::add_list, catalog::add_show, catalog::add_search, catalog::add_fill};

}  // namespace

void add_catalog_commands(CLI::App& app, Session& session) {
  add_group(app, "catalog", "The messages that the appliance's applications log", kCommands, session);
}

}  // namespace annalctl
