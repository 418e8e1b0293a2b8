// The commands and options of the program as data, read from the parser's own description of them.
#pragma once

#include <string>
#include <vector>

namespace CLI {
class App;
}

namespace annalctl {

struct Session;

struct OptionFacts {
  std::vector<std::string> names;  // "--limit", "-n"; or the one name of an argument
  std::string description;
  std::string value;  // what the value is called; empty for a flag
  std::vector<std::string> choices;
  bool required = false;
  bool repeats = false;
  bool hidden = false;  // from the help
};

struct CommandFacts {
  std::vector<std::string> path;  // "annalctl", "event", "list"
  std::string description;
  std::string notes;  // what the help says below the options
  std::vector<OptionFacts> arguments;
  std::vector<OptionFacts> options;
  std::vector<std::string> commands;  // the names of those that it consists of
};

// In the order of the help, each behind the one that it belongs to.
using CommandTree = std::vector<CommandFacts>;

using AddAllCommands = void (*)(CLI::App& app, Session& session);

[[nodiscard]] CommandTree command_tree(AddAllCommands add_all);

// What a command takes: its own options, and those of the commands that it belongs to.
[[nodiscard]] std::vector<OptionFacts> options_of(const CommandTree& tree, const CommandFacts& command);

}  // namespace annalctl
