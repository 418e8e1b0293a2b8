// The commands that look after all logs at once: "annalctl info" and "annalctl keep".
#pragma once

#include <functional>
#include <string>
#include <vector>

#include "tools/annalctl/base/cli_types.h"
#include "tools/annalctl/log/place.h"
#include "tools/annalctl/output/session.h"

namespace annalctl {

// Goes through the logs that have a place of their own, and those of file operations that are named.
void for_all_logs(const std::vector<std::string>& files, const Session& session, Intent intent,
                  const std::function<void(Log& log)>& work);

void add_info_of_all(CLI::App& app, Session& session);
void add_keep_of_all(CLI::App& app, Session& session);

}  // namespace annalctl
