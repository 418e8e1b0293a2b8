// "annalctl seal" and "annalctl verify": of all logs at once, or of those that are named.
#pragma once

#include "tools/annalctl/base/cli_types.h"
#include "tools/annalctl/output/session.h"

namespace annalctl {

void add_seal_of_all(CLI::App& app, Session& session);
void add_verify_of_all(CLI::App& app, Session& session);

}  // namespace annalctl
