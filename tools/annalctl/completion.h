// "annalctl completion": what a shell needs to complete command lines, from the commands themselves.
#pragma once

#include <string>

#include "tools/annalctl/base/cli_types.h"
#include "tools/annalctl/command_tree.h"
#include "tools/annalctl/output/session.h"

namespace annalctl {

void add_completion(CLI::App& app, Session& session, AddAllCommands add_all);

[[nodiscard]] std::string bash_completion(const CommandTree& tree);
[[nodiscard]] std::string zsh_completion(const CommandTree& tree);
[[nodiscard]] std::string fish_completion(const CommandTree& tree);
// The tree as it is, which the manual's pages are made of.
[[nodiscard]] std::string json_tree(const CommandTree& tree);

}  // namespace annalctl
