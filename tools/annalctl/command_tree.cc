// Walks the parser's commands and options, and describes them as data.
#include "tools/annalctl/command_tree.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <utility>

#include "tools/annalctl/arguments/choice.h"
#include "tools/annalctl/output/session.h"

namespace annalctl {

namespace {

bool has_name(const CLI::App* part) {
  return !part->get_name().empty();
}

bool has_no_name(const CLI::App* part) {
  return part->get_name().empty();
}

OptionFacts facts_of(CLI::Option& option) {
  OptionFacts facts;
  if (option.get_positional()) {
    facts.names.push_back(option.get_name());
  }
  for (const std::string& name : option.get_lnames()) {
    facts.names.push_back("--" + name);
  }
  for (const std::string& name : option.get_snames()) {
    facts.names.push_back("-" + name);
  }
  facts.description = option.get_description();
  if (option.get_items_expected_max() > 0) {
    const std::string type = option.get_type_name();
    facts.value = option.get_positional() ? option.get_name() : type.substr(0, type.find(':'));
  }
  facts.choices = offered(option);
  facts.required = option.get_required();
  facts.repeats = option.get_expected_max() >= CLI::detail::expected_max_vector_size;
  facts.hidden = option.get_group().empty();
  return facts;
}

void add_options(CLI::App& app, CommandFacts& facts) {
  for (CLI::Option* option : app.get_options({})) {
    (option->get_positional() ? facts.arguments : facts.options).push_back(facts_of(*option));
  }
}

CommandFacts facts_of(CLI::App& app, std::vector<std::string> path) {
  CommandFacts facts{std::move(path), app.get_description(), app.get_footer(), {}, {}, {}};
  add_options(app, facts);
  // Options in a group of their own belong to a part of the command that has no name.
  for (CLI::App* part : app.get_subcommands(has_no_name)) {
    add_options(*part, facts);
  }
  for (const CLI::App* command : app.get_subcommands(has_name)) {
    facts.commands.push_back(command->get_name());
  }
  return facts;
}

}  // namespace

CommandTree command_tree(AddAllCommands add_all) {
  constexpr char kProgram[] = "annalctl";
  Session session;
  CLI::App app("Reads and maintains the logs of the appliance.", kProgram);
  add_all(app, session);
  CommandTree tree{facts_of(app, {kProgram})};
  for (const std::string& name : std::vector<std::string>(tree.front().commands)) {
    // A group makes its commands only when it is named.
    CLI::App fresh("", kProgram);
    add_all(fresh, session);
    try {
      fresh.parse(std::vector<std::string>{"--help", name});
    } catch (const CLI::ParseError&) {
      // The help that was asked for: the commands are there now.
    }
    CLI::App& group = *fresh.get_subcommand(name);
    tree.push_back(facts_of(group, {kProgram, name}));
    for (CLI::App* command : group.get_subcommands(has_name)) {
      tree.push_back(facts_of(*command, {kProgram, name, command->get_name()}));
    }
  }
  return tree;
}

std::vector<OptionFacts> options_of(const CommandTree& tree, const CommandFacts& command) {
  std::vector<OptionFacts> options;
  for (std::size_t words = command.path.size(); words > 0; --words) {
    for (const CommandFacts& one : tree) {
      if (one.path.size() == words && std::equal(one.path.begin(), one.path.end(), command.path.begin())) {
        options.insert(options.end(), one.options.begin(), one.options.end());
      }
    }
  }
  return options;
}

}  // namespace annalctl
