// The facilities that notices come from, and the device's notification command: "annalctl facilities" and "notify".
#pragma once

#include "tools/annalctl/base/cli_types.h"
#include "tools/annalctl/output/session.h"

namespace annalctl {

void add_facilities(CLI::App& app, Session& session);
void add_notify(CLI::App& app, Session& session);

}  // namespace annalctl
