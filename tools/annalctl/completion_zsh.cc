// Completion for zsh: a function for each command, as its _arguments wants it.
#include <fmt/format.h>

#include <algorithm>

#include "tools/annalctl/completion.h"

namespace annalctl {

namespace {

// For single quotes, with the characters that mean something to _arguments as they are.
std::string in_quotes(const std::string& text, std::string_view special) {
  std::string result = "'";
  for (const char c : text) {
    if (c == '\'') {
      result += "'\\'";
    } else if (special.find(c) != std::string_view::npos) {
      result += '\\';
    }
    result += c;
  }
  return result + "'";
}

std::string action(const OptionFacts& option) {
  if (!option.choices.empty()) {
    return fmt::format("({})", fmt::join(option.choices, " "));
  }
  return option.value == "FILE" ? "_files" : option.value == "FOLDER" ? "_files -/" : " ";
}

// "'(--limit -n)--limit=[Show at most so many]:N: '" for each of its names.
std::string option_specs(const OptionFacts& option) {
  const std::string others = option.repeats            ? "*"
                             : option.names.size() < 2 ? ""
                                                       : fmt::format("({})", fmt::join(option.names, " "));
  std::string specs;
  for (const std::string& name : option.names) {
    const std::string end = option.value.empty() ? "" : name.starts_with("--") ? "=" : "+";
    const std::string value = option.value.empty() ? "" : fmt::format(":{}:{}", option.value, action(option));
    const std::string description = in_quotes(option.description, "[]\\");
    specs += fmt::format(" \\\n    '{}{}{}['{}']{}'", others, name, end, description, value);
  }
  return specs;
}

std::string all_specs(const std::vector<OptionFacts>& options) {
  std::string specs;
  for (const OptionFacts& option : options) {
    specs += option_specs(option);
  }
  return specs;
}

std::string argument_specs(const CommandFacts& command) {
  std::string specs;
  for (const OptionFacts& argument : command.arguments) {
    specs += fmt::format(" \\\n    '{}:{}:{}'", argument.repeats ? "*" : "", argument.names.front(), action(argument));
  }
  return specs;
}

std::string function_of(const CommandFacts& command) {
  return fmt::format("_{}", fmt::join(command.path, "_"));
}

std::string leaf_function(const CommandTree& tree, const CommandFacts& command) {
  return fmt::format("{}() {{\n  _arguments -S{}{}\n}}\n\n", function_of(command), all_specs(options_of(tree, command)),
                     argument_specs(command));
}

bool is_below(const CommandFacts& group, const CommandFacts& command) {
  return command.path.size() == group.path.size() + 1 &&
         std::equal(group.path.begin(), group.path.end(), command.path.begin());
}

std::string group_function(const CommandTree& tree, const CommandFacts& group) {
  std::string described;
  std::string cases;
  for (const CommandFacts& one : tree) {
    if (is_below(group, one)) {
      described += fmt::format("\n        {}", in_quotes(fmt::format("{}:{}", one.path.back(), one.description), "\\"));
      cases += fmt::format("\n        {}) {} ;;", one.path.back(), function_of(one));
    }
  }
  return fmt::format(
      "{}() {{\n"
      "  local curcontext=$curcontext state state_descr line\n"
      "  typeset -A opt_args\n"
      "  _arguments -C{} \\\n    ': :->command' '*:: :->rest'\n"
      "  case $state in\n"
      "    command)\n"
      "      local -a commands\n"
      "      commands=({}\n"
      "      )\n"
      "      _describe -t commands command commands\n"
      "      ;;\n"
      "    rest)\n"
      "      case $words[1] in{}\n"
      "      esac\n"
      "      ;;\n"
      "  esac\n"
      "}}\n\n",
      function_of(group), all_specs(options_of(tree, group)), described, cases);
}

}  // namespace

std::string zsh_completion(const CommandTree& tree) {
  std::string text = "#compdef annalctl\n# zsh completion for annalctl, made by 'annalctl completion zsh'.\n\n";
  for (const CommandFacts& command : tree) {
    text += command.commands.empty() ? leaf_function(tree, command) : group_function(tree, command);
  }
  return text + "_annalctl \"$@\"\n";
}

}  // namespace annalctl
