// What a log holds, its size and its limit: "annalctl LOG info" and "annalctl info".
#pragma once

#include <vector>

#include "tools/annalctl/base/cli_types.h"
#include "tools/annalctl/maintenance/facts.h"
#include "tools/annalctl/output/session.h"

namespace annalctl {

void add_info_command(CLI::App& commands, Session& session, const Log& log);

struct InfoOptions {
  bool prometheus = false;
};
void add_info_options(CLI::App& command, InfoOptions& options);
extern const char* const kInfoNotes;

// Writes the facts in the chosen format, and returns the exit status.
[[nodiscard]] int write_info(const std::vector<LogFacts>& all, const InfoOptions& options, Session& session);

}  // namespace annalctl
