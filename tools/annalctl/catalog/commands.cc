// The catalog's commands, in the order of the help.
#include "tools/annalctl/catalog/commands.h"

#include <CLI/CLI.hpp>

#include "tools/annalctl/log/command_group.h"

namespace annalctl {

void add_catalog_commands(CLI::App& app, Session& session) {
  add_group(app, "catalog", "The messages that the appliance's applications log", [&session](CLI::App& group) {
    catalog::add_list(group, session);
    catalog::add_show(group, session);
    catalog::add_search(group, session);
    catalog::add_fill(group, session);
  });
}

}  // namespace annalctl
