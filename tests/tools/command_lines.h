// Generates command lines of annalctl with random errors from the program's own commands and options, so that none is
// missed.
#pragma once

#include <functional>
#include <string>
#include <vector>

namespace annal::test {

struct Parameter {
  std::vector<std::string> names;  // with their dashes; empty for a positional one
  bool takes_value;
  bool required;
  std::vector<std::string> likely_values;
};

struct Command {
  std::vector<std::string> words;  // such as "event", "list"
  // The options of each word in order, after those of the program.
  std::vector<std::vector<Parameter>> parameters;
};

// Every command of the program, including groups.
[[nodiscard]] std::vector<Command> all_commands();

// 0 to one less than the bound, which is 256 at most.
using Choose = std::function<unsigned(unsigned bound)>;

// One line for the command, without the program's name. For a program that runs in /etc/logs, no path in it leads
// elsewhere.
[[nodiscard]] std::vector<std::string> command_line(const Command& command, const std::vector<Command>& all,
                                                    const Choose& choose);

// Quoted for a shell.
[[nodiscard]] std::string quoted(const std::vector<std::string>& arguments);

}  // namespace annal::test
