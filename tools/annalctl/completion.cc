// Prints the completion script of a shell, or the description from which others can make one.
#include "tools/annalctl/completion.h"

#include <CLI/CLI.hpp>
#include <array>
#include <memory>
#include <nlohmann/json.hpp>
#include <optional>

#include "tools/annalctl/arguments/choice.h"

namespace annalctl {

namespace {

using Json = nlohmann::ordered_json;

struct Script {
  Choice choice;
  std::string (*text)(const CommandTree& tree);
};

constexpr std::array kScripts{
    Script{{"bash", 0}, bash_completion},
    Script{{"zsh", 1}, zsh_completion},
    Script{{"fish", 2}, fish_completion},
    Script{{"json", 3, false}, json_tree},
};

constexpr std::array kShells{kScripts[0].choice, kScripts[1].choice, kScripts[2].choice, kScripts[3].choice};

Json json_of(const std::vector<OptionFacts>& options) {
  Json list = Json::array();
  for (const OptionFacts& option : options) {
    list.push_back({{"names", option.names},
                    {"description", option.description},
                    {"value", option.value},
                    {"choices", option.choices},
                    {"required", option.required},
                    {"repeats", option.repeats},
                    {"hidden", option.hidden}});
  }
  return list;
}

Json json_of(const CommandFacts& command) {
  return {{"path", command.path},
          {"description", command.description},
          {"notes", command.notes},
          {"arguments", json_of(command.arguments)},
          {"options", json_of(command.options)},
          {"commands", command.commands}};
}

}  // namespace

std::string json_tree(const CommandTree& tree) {
  Json list = Json::array();
  for (const CommandFacts& command : tree) {
    list.push_back(json_of(command));
  }
  return list.dump(1) + "\n";
}

void add_completion(CLI::App& app, Session& session, AddAllCommands add_all) {
  CLI::App* const command = app.add_subcommand("completion", "Print what a shell needs to complete command lines");
  const auto shell = std::make_shared<std::optional<unsigned>>();
  command->footer(
      "The packages install it. Without them put it where your shell looks for it;\n"
      "'json' prints the commands and options as data.\n"
      "\n"
      "Examples:\n"
      "  annalctl completion bash > ~/.local/share/bash-completion/completions/annalctl\n"
      "  annalctl completion zsh > /usr/local/share/zsh/site-functions/_annalctl\n"
      "  annalctl completion fish > ~/.config/fish/completions/annalctl.fish");
  add_choice(*command, "SHELL", *shell, kShells, "The shell")->required();
  command->callback([shell, &session, add_all] {
    session.output.write(kScripts.at(shell->value_or(0)).text(command_tree(add_all)));
  });
}

}  // namespace annalctl
