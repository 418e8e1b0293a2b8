// Completion for bash. It wants bash 4 and nothing else, not even the package bash-completion.
#include <fmt/format.h>

#include "tools/annalctl/completion.h"

namespace annalctl {

namespace {

constexpr char kFunctions[] = R"(
# Sets 'kind' to what the value of an option may be; fails for one that takes none.
_annalctl_kind() {
  local path=$1 option=$2 entry
  while :; do
    for entry in ${_annalctl_options[$path]}; do
      if [[ $entry == "$option="* ]]; then
        kind=${entry#*=}
        return 0
      fi
    done
    [[ $path == *' '* ]] || return 1
    path=${path% *}
  done
}

# Completes a word as a kind of value.
_annalctl_value() {
  local kind=$1 word=$2
  case $kind in
    FILE) mapfile -t COMPREPLY < <(compgen -f -- "$word") && compopt -o filenames 2>/dev/null ;;
    FOLDER) mapfile -t COMPREPLY < <(compgen -d -- "$word") && compopt -o filenames 2>/dev/null ;;
    *) mapfile -t COMPREPLY < <(compgen -W "${kind//,/ }" -- "$word") ;;
  esac
}

_annalctl() {
  local path=annalctl option='' kind='' only_words='' names='' i word
  local current=${COMP_WORDS[COMP_CWORD]}
  COMPREPLY=()
  for ((i = 1; i < COMP_CWORD; ++i)); do
    word=${COMP_WORDS[i]}
    if [[ $option && $word == = ]]; then
      continue
    elif [[ $option ]]; then
      option=''
    elif [[ $word == -- ]]; then
      only_words=yes
    elif [[ $word == -* && ! $only_words ]]; then
      _annalctl_kind "$path" "$word" && option=$word
    elif [[ " ${_annalctl_commands[$path]} " == *" $word "* && $word != help ]]; then
      path+=" $word"
    fi
  done
  [[ $current == = ]] && current=''
  if [[ $option ]]; then
    _annalctl_value "$kind" "$current"
  elif [[ $current == -* && ! $only_words ]]; then
    while :; do
      for word in ${_annalctl_options[$path]}; do
        names+=" ${word%%=*}"
      done
      [[ $path == *' '* ]] || break
      path=${path% *}
    done
    mapfile -t COMPREPLY < <(compgen -W "$names" -- "$current")
  elif [[ ${_annalctl_commands[$path]} ]]; then
    mapfile -t COMPREPLY < <(compgen -W "${_annalctl_commands[$path]}" -- "$current")
  else
    _annalctl_value "${_annalctl_arguments[$path]}" "$current"
  fi
}

complete -F _annalctl annalctl
)";

struct Arrays {
  std::string commands;
  std::string options;
  std::string arguments;
};

// Names are of letters, digits and hyphens, so that they need no quotes.
std::string kind_of(const OptionFacts& option) {
  if (option.choices.empty()) {
    return option.value == "FILE" || option.value == "FOLDER" ? option.value : "";
  }
  return fmt::format("{}", fmt::join(option.choices, ","));
}

std::string options_with_values(const std::vector<OptionFacts>& options) {
  std::vector<std::string> words;
  for (const OptionFacts& option : options) {
    const std::string value = option.value.empty() ? "" : "=" + kind_of(option);
    for (const std::string& name : option.names) {
      words.push_back(fmt::format("{}{}", name, value));
    }
  }
  return fmt::format("{}", fmt::join(words, " "));
}

void add(const CommandFacts& command, Arrays& arrays) {
  const std::string path = fmt::format("{}", fmt::join(command.path, " "));
  const auto element = [&path](const std::string& value) { return fmt::format("  ['{}']='{}'\n", path, value); };
  arrays.options += element(options_with_values(command.options));
  if (!command.commands.empty()) {
    arrays.commands += element(fmt::format("{}", fmt::join(command.commands, " ")));
  }
  if (!command.arguments.empty()) {
    arrays.arguments += element(kind_of(command.arguments.front()));
  }
}

}  // namespace

std::string bash_completion(const CommandTree& tree) {
  Arrays arrays;
  for (const CommandFacts& command : tree) {
    add(command, arrays);
  }
  return fmt::format(
      "# bash completion for annalctl, made by 'annalctl completion bash'.\n\n"
      "declare -gA _annalctl_commands=(\n{})\n\n"
      "# An option that takes a value has '=' behind it, and what the value may be.\n"
      "declare -gA _annalctl_options=(\n{})\n\n"
      "declare -gA _annalctl_arguments=(\n{})\n{}",
      arrays.commands, arrays.options, arrays.arguments, kFunctions);
}

}  // namespace annalctl
