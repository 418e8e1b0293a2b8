// Completion for fish: a line for each command and option.
#include <fmt/format.h>

#include <cstddef>
#include <set>
#include <string_view>

#include "tools/annalctl/completion.h"

namespace annalctl {

namespace {

constexpr char kFunctions[] = R"(
# The command that the line has come to, as 'event list'.
function __annalctl_command
    set -l command
    set -l value no
    for word in (commandline -opc)[2..-1]
        if test $value = yes
            set value no
        else if string match -q -- '-*' $word
            contains -- $word $__annalctl_with_value; and set value yes
        else if contains -- (string join ' ' $command $word) $__annalctl_commands
            set -a command $word
        end
    end
    echo "$command"
end

function __annalctl_at
    test (__annalctl_command) = "$argv"
end

function __annalctl_in
    set -l command (__annalctl_command)
    test "$command" = "$argv"; or string match -q -- "$argv *" $command
end

complete -c annalctl -f
)";

std::string in_quotes(std::string_view text) {
  std::string result = "'";
  for (const char c : text) {
    result.append(c == '\'' || c == '\\' ? "\\" : "").push_back(c);
  }
  return result + "'";
}

constexpr std::string_view kNoValue = " -x";

std::string value_of(const OptionFacts& option) {
  if (!option.choices.empty()) {
    return " -x -a " + in_quotes(fmt::format("{}", fmt::join(option.choices, " ")));
  }
  return option.value == "FILE"     ? " -r -F"
         : option.value == "FOLDER" ? " -x -a '(__fish_complete_directories)'"
                                    : std::string(kNoValue);
}

struct Parts {
  std::set<std::string> with_value;
  std::string commands;
  std::string lines;
};

void add_options(const CommandFacts& command, const std::string& path, Parts& parts) {
  const std::string where = path.empty() ? "" : fmt::format(" -n {}", in_quotes("__annalctl_in " + path));
  for (const OptionFacts& option : command.options) {
    std::string names;
    for (const std::string& name : option.names) {
      const bool long_one = name.starts_with("--");
      names += fmt::format(" {} {}", long_one ? "-l" : "-s", name.substr(long_one ? 2 : 1));
      if (!option.value.empty()) {
        parts.with_value.insert(name);
      }
    }
    parts.lines += fmt::format("complete -c annalctl{}{}{} -d {}\n", where, names,
                               option.value.empty() ? "" : value_of(option), in_quotes(option.description));
  }
  for (const OptionFacts& argument : command.arguments) {
    const std::string value = value_of(argument);
    if (value.size() > kNoValue.size()) {
      // " -x" and " -r" are about options' values.
      parts.lines += fmt::format("complete -c annalctl -n {}{}\n", in_quotes("__annalctl_at " + path),
                                 value.substr(kNoValue.size()));
    }
  }
}

// The words behind the program's name.
std::string path_of(const CommandFacts& command, std::size_t words) {
  const auto first = command.path.begin() + 1;
  return fmt::format("{}", fmt::join(first, first + static_cast<std::ptrdiff_t>(words), " "));
}

}  // namespace

std::string fish_completion(const CommandTree& tree) {
  Parts parts;
  for (const CommandFacts& command : tree) {
    const std::size_t words = command.path.size() - 1;
    const std::string path = path_of(command, words);
    if (words > 0) {
      parts.commands += fmt::format(" {}", in_quotes(path));
      parts.lines += fmt::format("complete -c annalctl -n {} -a {} -d {}\n",
                                 in_quotes("__annalctl_at " + path_of(command, words - 1)), command.path.back(),
                                 in_quotes(command.description));
    }
    add_options(command, path, parts);
  }
  return fmt::format(
      "# fish completion for annalctl, made by 'annalctl completion fish'.\n\n"
      "set -g __annalctl_commands{}\n"
      "set -g __annalctl_with_value {}\n{}\n{}",
      parts.commands, fmt::join(parts.with_value, " "), kFunctions, parts.lines);
}

}  // namespace annalctl
