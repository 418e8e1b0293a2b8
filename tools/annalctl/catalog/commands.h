// The commands of the message catalog, "annalctl catalog …".
#pragma once

#include "tools/annalctl/base/cli_types.h"
#include "tools/annalctl/output/session.h"

namespace annalctl {

void add_catalog_commands(CLI::App& app, Session& session);

namespace catalog {

void add_list(CLI::App& commands, Session& session);
void add_show(CLI::App& commands, Session& session);
void add_search(CLI::App& commands, Session& session);
void add_fill(CLI::App& commands, Session& session);

}  // namespace catalog

}  // namespace annalctl
